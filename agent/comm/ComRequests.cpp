#define LOG_MODULE "CommServer"
#include "comm/ComRequests.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "comm/CommFrame.h"
#include "comm/CommLink.h"
#include "comm/FuncIdList.h"
#include "core/Common.h"
#include "core/Version.h"
#include "core/Wire.h"
#include "os/OsClock.h"
#include "os/OsWait.h"
#include "platform/Protool.h"
#include "platform/ServerStop.h"
#include "platform/Session.h"

static const int kFailed = 1; // nothing was sent, or no answer came
static const int64_t kTickMs = 50;
static const int kMaxTicks = 1200;
static const int kScanTicks = 1200; // a minute: the peer scans for the neighbours' networks
static const size_t kWanRecordSize = 228;

static const uint32_t kMinFuncId = 1;
static const uint32_t kMaxFuncId = 1000;

// ---- Sending ----

static const size_t kStateTextSize = 500;

pthread_mutex_t txLock = PTHREAD_MUTEX_INITIALIZER;
static uint8_t txbuf[kMaxCommSend]; // guarded by txLock

static int StateText(char text[kStateTextSize])
{
    return snprintf(text, kStateTextSize, "{\"pluginState\":\"%s\",\"pluginVersion\":\"%s\"}",
                    mLogin == 1 ? "online" : "offline", kPluginVersionTagged);
}

// Completes the frame in txbuf with its payload and sends it; txLock is held.
static int SendPayload(const void *data, size_t length)
{
    if (length > kMaxCommSendPayload || (length > 0 && !data)) {
        LOG_AS(LOG_LEVEL_ERR, "CommSendCmd", "send data length error, length is %u", static_cast<unsigned>(length));
        return -1;
    }
    if (length > 0) memcpy(txbuf + kCommHeaderSize, data, length);
    const size_t size = CommFrameSeal(txbuf, sizeof txbuf, length);
    return CommServerSend(txbuf, static_cast<uint32_t>(size)) > 0 ? 0 : -1;
}

static int SendRequest(const FuncIdRow &row, const void *data, size_t length)
{
    LOG_AS(LOG_LEVEL_DEBUG, "CommSendCmd", "%s", row.text);
    switch (row.request) {
    case REQUEST_EMPTY: return SendPayload(nullptr, 0);
    case REQUEST_MARK: return SendPayload("i", 1);
    case REQUEST_WAN_INDEX: return SendPayload(length < 2 ? nullptr : data, 2);
    case REQUEST_STATE: {
        char text[kStateTextSize];
        return SendPayload(text, static_cast<size_t>(StateText(text)));
    }
    case REQUEST_PARAMETERS:
    case REQUEST_JSON:
    case REQUEST_HAND_OVER:
    case REQUEST_NEVER: break;
    }
    return SendPayload(data, length);
}

int CommSendCmd(uint32_t FuncID, const void *data, uint32_t len)
{
    OsGuard guard(&txLock);
    if (FuncID < kMinFuncId || FuncID > kMaxFuncId) {
        LOG_ERR("Function CMD error.");
        return -1;
    }
    CommFrameHead(txbuf, static_cast<uint16_t>(FuncID)); // a request that is refused below uses up its number, too
    if (FuncID == FUNCID_DEVICES) {
        LOG_ERR("Error comm_subdev_report"); // only the peer sends devices
        return -1;
    }
    const FuncIdRow *const request = FuncIdFind(FuncID);
    if (!request || request->request == REQUEST_NEVER) {
        LOG_ERR("funcCMD error");
        return -1;
    }
    return SendRequest(*request, data, len);
}

// ---- Waiting ----

// Returns whether nobody can use an answer any more.
static bool Ended()
{
    return CommRun != 1 || ServerRun != 1;
}

static bool LetGo()
{
    CommWakeRequesters();
    return false;
}

// Returns the deadline of a wait that begins now. From here on the end of the session wakes the wait.
static int64_t BeginWait(int ticks)
{
    static ServerStopCall s_onStop = {LetGo, false, nullptr};
    ServerOnStop(&s_onStop);
    return OsNowMs() + std::min(ticks, kMaxTicks) * kTickMs;
}

// gCommAnswer is held.
static int AwaitAnswer(int64_t deadline)
{
    bool inTime = true;
    while (CommReceived != 1) {
        if (!inTime) {
            LOG_AS(LOG_LEVEL_ERR, "Route_Wait", "ERROR: request timeout!");
            return -1;
        }
        if (Ended()) return -1;
        inTime = OsWaitUntil(&gCommAnswer, deadline);
    }
    return 0;
}

int Route_Wait(int ticks)
{
    if (ticks <= 0) return 0;
    const int64_t deadline = BeginWait(ticks);
    OsGuard guard(&gCommAnswer);
    return AwaitAnswer(deadline);
}

// ---- Turns ----

static OsAtomic<int> s_free{1}; // 1 while no request is being made

static bool TakeTurn()
{
    int free = 1;
    return s_free.compare_exchange_strong(free, 0);
}

// Waits on the session: the main thread ends the session, so it must not wait for a turn in one that has to end.
static bool AwaitTurn()
{
    while (!TakeTurn()) {
        WaitForSession(s_free, OS_FOREVER);
        if (Ended() || mQuitPro == 1) return false;
    }
    return true;
}

CommTurn::CommTurn(uint32_t id) : mHeld(AwaitTurn())
{
    if (mHeld) CommExpectAnswer(id);
}

CommTurn::~CommTurn()
{
    if (!mHeld) return;
    CommExpectNothing();
    SetSessionFlag(s_free, 1);
}

// ---- Asking ----

// Copies the answer in rxData, without its status and length; gCommAnswer is held.
static void ReadAnswer(const CommQuestion &question)
{
    size_t bytes = question.outSize;
    if (question.came) {
        WireReader head = WireRead(rxData + 1, kRxDataHead - 1);
        const size_t came = WireGetLe16(&head); // with the status
        bytes = std::min({came == 0 ? 0 : came - 1, bytes, kRxDataSize - kRxDataHead});
        *question.came = static_cast<uint32_t>(bytes);
    }
    if (bytes > 0) memcpy(question.out, rxData + kRxDataHead, bytes);
}

int CommAskInTurn(const CommQuestion &question)
{
    if (CommSendCmd(question.id, question.data, question.length) != 0) {
        LOG_AS(LOG_LEVEL_ERR, question.function, "%s", question.failure);
        return kFailed;
    }
    const int64_t deadline = BeginWait(question.ticks);
    OsGuard guard(&gCommAnswer); // for waiting and reading: a later answer must not come between them
    if (AwaitAnswer(deadline) != 0) return kFailed;
    ReadAnswer(question);
    return rxData[0];
}

int CommRequest(const CommQuestion &question)
{
    const CommTurn turn(question.id);
    return turn.Held() ? CommAskInTurn(question) : kFailed;
}

// ---- The family ----

// Makes a request without a payload of the caller's and stores the first `size` bytes of the answer.
static int Query(const char *function, uint32_t id, const char *failure, uint8_t *out = nullptr, size_t size = 0,
                 uint32_t *came = nullptr, int ticks = kAnswerTicks)
{
    return CommRequest({function, failure, id, nullptr, 0, ticks, out, size, came});
}

// Makes a request whose answer is only a status.
static int Setting(const char *function, uint32_t id, const char *failure, const void *data, uint32_t length)
{
    return CommRequest({function, failure, id, data, length, kAnswerTicks, nullptr, 0, nullptr});
}

int ComF_get_wifi_freqband(uint32_t band, uint8_t *out)
{
    const uint8_t byte = static_cast<uint8_t>(band);
    return CommRequest(
        {__func__, "ERROR: send command failed!", FUNCID_WIFI_BAND, &byte, 1, kAnswerTicks, out, 1, nullptr});
}

int ComF_get_mesh_support(uint8_t *out)
{
    return Query(__func__, FUNCID_MESH_SUPPORT, "ERROR: send get mesh support command failed!", out, 1);
}

int ComF_set_mesh_switch(uint8_t on)
{
    return Setting(__func__, FUNCID_SET_MESH, "ERROR: send set mesh switch command failed!", &on, 1);
}

int ComF_get_mesh_switch(uint8_t *out)
{
    return Query(__func__, FUNCID_MESH, "ERROR: send get mesh switch command failed!", out, 1);
}

int ComF_set_mesh_roaming_switch(uint8_t on)
{
    return Setting(__func__, FUNCID_SET_MESH_ROAMING, "ERROR: send set mesh roaming switch command failed!", &on, 1);
}

int ComF_get_mesh_roaming_switch(uint8_t *out)
{
    return Query(__func__, FUNCID_MESH_ROAMING, "ERROR: send get mesh roaming switch command failed!", out, 1);
}

int ComF_set_mesh_roaming_threshold(uint8_t a, uint8_t b)
{
    const uint8_t both[] = {a, b};
    return Setting(__func__, FUNCID_SET_THRESHOLDS, "ERROR: send set mesh roaming threshold command failed!", both,
                   sizeof both);
}

int ComF_get_mesh_roaming_threshold(uint8_t out[2])
{
    return Query(__func__, FUNCID_THRESHOLDS, "ERROR: send get mesh roaming threshold command failed!", out, 2);
}

int ComF_get_mesh_topology(uint8_t *out, uint32_t room, uint32_t *came)
{
    return Query(__func__, FUNCID_MESH_TOPOLOGY, "ERROR: send get mesh topology command failed!", out, room, came);
}

int ComF_get_adj_wifi_info(uint8_t *out, uint32_t room, uint32_t *came)
{
    return Query(__func__, FUNCID_ADJACENT_WIFI_INFO, "ERROR: send get adj wifi info command failed!", out, room, came,
                 kScanTicks);
}

int ComF_get_bssid(uint8_t *out, uint32_t room, uint32_t *came)
{
    return Query(__func__, FUNCID_BSSID, "ERROR: send get bssid command failed!", out, room, came);
}

int ComF_set_wan_cfg(const uint8_t record[228])
{
    return Setting(__func__, FUNCID_SET_WAN_CONFIG, "ERROR: send set wan cfg command failed!", record, kWanRecordSize);
}

int ComF_trig_onekey_optimize()
{
    return Query(__func__, FUNCID_ONE_KEY_OPTIMIZE, "ERROR: send trigger onekey optimize command failed!");
}

int ComF_trig_fault_diagnosis()
{
    return Query(__func__, FUNCID_FAULT_DIAGNOSIS, "ERROR: send trigger fault diagnosis command failed!");
}

int ComF_get_autoreport_conf()
{
    const int result = Query(__func__, FUNCID_AUTO_REPORT_CONFIG, "ERROR: get auto report config info failed!");
    if (result == 0) LOG_DEBUG("DEBUG: get auto report config info success.");
    return result;
}

int ComF_send_pluginstate()
{
    if (CommSendCmd(FUNCID_PLUGIN_STATE, nullptr, 0) != 0) {
        LOG_ERR("ERROR: send plugin state failed!");
        return kFailed;
    }
    LOG_DEBUG("send plugin state ok, no need ack.");
    return 0;
}
