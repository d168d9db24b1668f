#define LOG_MODULE "Protool"
#include "platform/Session.h"

#include <algorithm>
#include <cjson/cJSON.h>
#include <cstdio>
#include <cstring>

#include "core/Common.h"
#include "core/Config.h"
#include "core/Flags.h"
#include "core/MacText.h"
#include "core/PlugStatus.h"
#include "core/Version.h"
#include "os/OsClock.h"
#include "os/OsDivide.h"
#include "os/OsProcess.h"
#include "os/OsWait.h"
#include "platform/Protool.h"
#include "platform/Sending.h"
#include "platform/Settings.h"
#include "platform/SignOfLife.h"
#include "sdk/RouterSdk.h"

static const int64_t kAnswerWaitMs = 10000;
static const int64_t kCheckPeriodMs = 10000;
static const int64_t kThreadStartPauseMs = 10;
static const uint8_t kRulesDataType = 13;
static const size_t kMaxRulesText = 126;

// ---- Registration ----

static void FindRouterMac()
{
    static const uint8_t kNoMac[kMacSize] = {};
    if (memcmp(l_mac, kNoMac, kMacSize) == 0) get_router_mac(l_mac);
    memcpy(gRoutemac, l_mac, kMacSize);
    char text[kMacTextSize];
    LOG_AS(LOG_LEVEL_DEBUG, "RegisterStart", "ROUTER MAC: %s", MacToText(gRoutemac, ' ', MAC_UPPER_CASE, text));
}

static void FindSerialNumber()
{
    if (gSN[0] != '\0') return;
    char serial[kSerialSize] = {};
    if (get_router_sn(serial) != 0) LOG_FATAL("RegisterStart", "ERROR: get sn failed!");
    const size_t length = strnlen(serial, sizeof serial);
    if (length == 0 || length >= sizeof serial) LOG_FATAL("RegisterStart", "ERROR: SN is invalid!");
    LOG_AS(LOG_LEVEL_DEBUG, "RegisterStart", "SN: %s LEN: %d", serial, static_cast<int>(length));
    memcpy(gSN, serial, sizeof gSN);
}

static void RegistSendMsg()
{
    if (g_pin_code[0] == '\0') LOG_FATAL(__func__, "ERROR: PIN is empty, plese check your plug.conf!");
    if (gProtoolKey[0] == '\0') LOG_FATAL(__func__, "ERROR: KEY is empty, plese check your plug.conf!");
    RegisterRequest request = {};
    PinField(g_pin_code, request.pin);
    request.serial = gSN;
    request.serialLen = strlen(gSN);
    request.mac = gRoutemac;
    uint8_t head[kRegisterHeadSize];
    uint8_t record[kMaxRegisterRecord];
    RegisterHeadWrite(request, head, sizeof head);
    const size_t length = RegisterRecordWrite(request, record, sizeof record);
    SendEncrypted(MSG_REGISTER, FLAG_UP, head, sizeof head, record, length);
}

int RegisterStart(SessionContext *context, const char *address)
{
    ClearLoginValues();
    SetSessionFlag(mRegist, 0);
    SetSessionFlag(mLogin, 0);
    SetSessionFlag(mQuitPro, 0);
    FindRouterMac();
    FindSerialNumber();
    if (ServerInit(address, static_cast<uint16_t>(regist_port), context) != 0) {
        DeleteServer(context);
        return -1;
    }
    LogPlugStatus(PLUG_CONNECTING);
    RegistSendMsg();
    WaitForSession(mRegist, kAnswerWaitMs);
    DeleteServer(context);
    if (mQuitPro == 1 || mRegist != 1) {
        LogPlugStatus(PLUG_REGISTER_FAILED);
        LOG_ERR("Register failed.");
        return -1;
    }
    LOG_INFO("Register server1 success."); // the same text for both servers, on purpose
    return 0;
}

// ---- Login ----

static void LoginServer()
{
    if (mLogin == 1) return;
    LoginRequest request = {};
    PinField(g_pin_code, request.pin);
    memcpy(request.token, mLoginTocken, kTokenSize);
    static_assert(sizeof request.version == sizeof kPluginVersion, "the login has another kind of version");
    memcpy(request.version, kPluginVersion, sizeof request.version);
    uint8_t head[kLoginHeadSize];
    uint8_t record[kLoginRecordSize];
    LoginHeadWrite(request, head, sizeof head);
    LoginRecordWrite(request, record, sizeof record);
    SendEncrypted(MSG_LOGIN, FLAG_UP, head, sizeof head, record, sizeof record);
}

int LoginStart(SessionContext *context)
{
    LOG_INFO("quit regist,start login %s:%d", mLoginServer, mLoginPort);
    if (mLoginServer[0] == '\0') {
        LOG_ERR("Login Server wrong !");
        return -1;
    }
    if (ServerInit(mLoginServer, mLoginPort, context) != 0) {
        DeleteServer(context);
        LOG_ERR("Login ServerInit error");
        return -1;
    }
    SetSessionFlag(mQuitPro, 0);
    SetSessionFlag(mLogin, 0);
    LoginServer();
    WaitForSession(mLogin, kAnswerWaitMs);
    if (mLogin != 1) {
        LOG_ERR("login failed !");
        DeleteServer(context);
        return -1;
    }
    // When the link was lost right after the login acknowledgement, the request to end stays: nobody would repeat it.
    ClearQuitWhileLoggedIn();
    LOG_INFO("Login done");
    return 0;
}

// ---- Staying alive ----

static void Heartbeep()
{
    uint8_t head[kHeartbeatHeadSize];
    HeartbeatHeadWrite(static_cast<uint32_t>(OsWallTime()), head, sizeof head);
    SendRouteUpData(head, nullptr, MSG_HEARTBEAT, FLAG_UP, sizeof head, 0,
                    FrameChecksum(0, head, sizeof head, nullptr, 0));
}

static OsAtomic<int> s_checking; // 1 when the platform may be silent for too long before the next heartbeat

// Tells the check thread whether it has anything to find before the next heartbeat. Half of the limit is one and a half
// intervals: less than that now is less than the limit then, with half an interval to spare.
static void ReviewSilence()
{
    const int checking = mHeartTime != 0 && SilenceMs() > SilenceLimitMs() / 2;
    if (checking != s_checking) SetSessionFlag(s_checking, checking);
}

static void *HeartbeatProc(void *)
{
    while (mQuitPro != 1) {
        Heartbeep();
        beepAck = 0;
        ReviewSilence();
        WaitForQuit(mHeartInterval * INT64_C(1000));
    }
    return nullptr;
}

// Whether the platform has been silent for too long. Before its first acknowledgement it has not.
static bool HeartbeatExpired()
{
    return beepAck != 1 && mHeartTime != 0 && SilenceMs() > SilenceLimitMs();
}

// The milliseconds until the first check that can find that. Checks are made at whole periods from `beginMs` on; those
// before it are not worth waking up for, because the next sign of life can only put it off.
static int64_t NextCheckMs(int64_t beginMs)
{
    const int64_t now = OsNowMs() - beginMs;
    const int64_t silentMs = mHeartTime != 0 ? SilenceMs() : 0;
    const int64_t expires = now + std::max<int64_t>(SilenceLimitMs() - silentMs, 0);
    const int64_t periods = static_cast<int64_t>(OsDivide(static_cast<uint64_t>(expires), kCheckPeriodMs));
    return (periods + 1) * kCheckPeriodMs - now;
}

static void *CheckProc(void *)
{
    const int64_t beginMs = OsNowMs();
    while (mQuitPro != 1) {
        const int16_t interval = mHeartInterval;
        const int checking = s_checking;
        if (OsWaitFor(&gFlags, checking ? NextCheckMs(beginMs) : OS_FOREVER,
                      // cppcheck-suppress CastIntegerToAddressAtReturn ; what is returned here is the lambda's
                      [=] { return mQuitPro == 1 || mHeartInterval != interval || s_checking != checking; })) {
            if (mHeartInterval != interval) s_checking = 1; // the next heartbeat may be further away than the new limit
            continue;
        }
        if (!HeartbeatExpired()) continue;
        SetSessionFlag(mQuitPro, 1);
        LOG_ERR("heart beep error");
    }
    return nullptr;
}

void RulesRequest()
{
    char mac[kMacTextSize];
    cJSON *request = cJSON_CreateObject();
    const cJSON *member = cJSON_AddStringToObject(request, "MAC", MacToText(gRoutemac, 0, MAC_UPPER_CASE, mac));
    char *printed = member ? cJSON_Print(request) : nullptr;
    cJSON_Delete(request);
    if (!printed) return;
    char text[kMaxRulesText + 1];
    snprintf(text, sizeof text, "%s", printed);
    cJSON_free(printed);
    LOG_DEBUG("Send to platform: \n%s", text);
    SendIpUpData(text, static_cast<int>(strlen(text)), kRulesDataType, 0, nullptr);
}

int HeartbeatStart(SessionContext *context)
{
    s_checking = 0;
    int error = OsThreadStart(&context->checkThread, CheckProc, nullptr);
    if (error != 0) {
        LOG_ERR("Created check thread failed errno=%d", error);
        LogPlugStatus(PLUG_START_FAILED);
        LOG_ERR("exit");
        return -1;
    }
    context->checkRunning = 1;
    OsSleepMs(kThreadStartPauseMs);
    RulesRequest();
    OsSleepMs(kThreadStartPauseMs);
    error = OsThreadStart(&context->heartbeatThread, HeartbeatProc, nullptr);
    if (error != 0) {
        LOG_ERR("Created heartbeat thread failed errno=%d", error);
        LogPlugStatus(PLUG_START_FAILED);
        return -1;
    }
    context->heartbeatRunning = 1;
    return 0;
}

static void JoinMarked(int32_t *running, pthread_t thread, const char *failure)
{
    if (!*running) return;
    if (OsThreadJoin(thread) != 0) LOG_AS(LOG_LEVEL_ERR, "DeleteHeartbear", "%s", failure);
    *running = 0;
}

void DeleteHeartbear(SessionContext *context)
{
    SetSessionFlag(mQuitPro, 1);
    JoinMarked(&context->checkRunning, context->checkThread, "Stop check thread error...");
    JoinMarked(&context->heartbeatRunning, context->heartbeatThread, "Stop heartbeat thread error...");
}
