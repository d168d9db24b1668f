#define LOG_MODULE "CommServer"
#include "comm/ComRequests.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "comm/CommFrame.h"
#include "comm/CommLink.h"
#include "core/Common.h"
#include "core/Version.h"
#include "core/Wire.h"
#include "os/OsClock.h"
#include "os/OsWait.h"
#include "platform/Protool.h"
#include "platform/Session.h"
#include "platform/TcpServer.h"

static const int kFailed = 1; // nothing sent, or no answer
static const int64_t kTickMs = 50;
static const int kMostTicks = 1200;
static const int kScanTicks = 1200; // the peer looks for the neighbours' networks
static const size_t kWanRecordSize = 228;

static const uint32_t kFuncMin = 1;
static const uint32_t kFuncMax = 1000;
static const uint32_t kSubdevReport = 40;
static const uint32_t kPluginState = 998;

// ---- Sending ----

static const size_t kStateTextSize = 500;

pthread_mutex_t txLock = PTHREAD_MUTEX_INITIALIZER;
static uint8_t txbuf[kCommSendMax]; // guarded by txLock

namespace
{

enum PayloadKind {
    PAYLOAD_NONE,
    PAYLOAD_TWO,    // two bytes of the caller's
    PAYLOAD_CALLER, // all of the caller's
    PAYLOAD_MARK,   // the character 'i'
    PAYLOAD_STATE,  // the plugin state as JSON
};

struct Request {
    uint16_t id;
    PayloadKind payload;
    const char *name;
};

} // namespace

static const Request kRequests[] = {
    {1, PAYLOAD_NONE, "comm_get_version"},
    {2, PAYLOAD_NONE, "comm_get_base_info"},
    {3, PAYLOAD_NONE, "comm_get_wan_cfg"},
    {4, PAYLOAD_NONE, "comm_get_wans_cfg"},
    {5, PAYLOAD_TWO, "comm_get_wan_tcp_con_num"},
    {70, PAYLOAD_CALLER, "get freqband"},
    {71, PAYLOAD_MARK, "get mesh support"},
    {72, PAYLOAD_CALLER, "set mesh switch"},
    {73, PAYLOAD_MARK, "get mesh switch"},
    {74, PAYLOAD_CALLER, "set mesh roaming switch"},
    {75, PAYLOAD_MARK, "get mesh roaming switch"},
    {76, PAYLOAD_CALLER, "set mesh roaming threshold"},
    {77, PAYLOAD_MARK, "get mesh roaming threshold"},
    {78, PAYLOAD_MARK, "get mesh topology"},
    {79, PAYLOAD_MARK, "get adj wifi info"},
    {80, PAYLOAD_MARK, "get bssid"},
    {82, PAYLOAD_CALLER, "set wan configure"},
    {83, PAYLOAD_MARK, "trigger one key optimize"},
    {85, PAYLOAD_MARK, "trigger fault diagnosis"},
    {88, PAYLOAD_CALLER, "set auto report"},
    {997, PAYLOAD_MARK, "get autoreport conf"},
    {kPluginState, PAYLOAD_STATE, "send plugin state"},
    {999, PAYLOAD_CALLER, "Firmware update"},
};

static const Request *FindRequest(uint32_t id)
{
    const Request *end = std::end(kRequests);
    const Request *found = std::find_if(std::begin(kRequests), end, [id](const Request &r) { return r.id == id; });
    return found == end ? nullptr : found;
}

static int StateText(char text[kStateTextSize])
{
    return snprintf(text, kStateTextSize, "{\"pluginState\":\"%s\",\"pluginVersion\":\"%s\"}",
                    mLogin == 1 ? "online" : "offline", kPluginVersionTagged);
}

// Sends the frame that has been begun in txbuf; txLock is held.
static int SendPayload(const void *data, size_t length)
{
    if (length > kCommSendPayloadMax || (length > 0 && !data)) {
        LOG_AS(LOG_LEVEL_ERR, "CommSendCmd", "send data length error, length is %u", static_cast<unsigned>(length));
        return -1;
    }
    if (length > 0) memcpy(txbuf + kCommHeaderSize, data, length);
    const size_t size = CommFrameSeal(txbuf, sizeof txbuf, length);
    return CommServerSend(txbuf, static_cast<uint32_t>(size)) > 0 ? 0 : -1;
}

static int SendRequest(const Request &request, const void *data, size_t length)
{
    LOG_AS(LOG_LEVEL_DEBUG, "CommSendCmd", "%s", request.name);
    switch (request.payload) {
    case PAYLOAD_NONE: return SendPayload(nullptr, 0);
    case PAYLOAD_MARK: return SendPayload("i", 1);
    case PAYLOAD_STATE: {
        char text[kStateTextSize];
        return SendPayload(text, static_cast<size_t>(StateText(text)));
    }
    case PAYLOAD_TWO: return SendPayload(length < 2 ? nullptr : data, 2);
    case PAYLOAD_CALLER: break;
    }
    return SendPayload(data, length);
}

int CommSendCmd(uint32_t FuncID, const void *data, uint32_t len)
{
    OsGuard guard(&txLock);
    if (FuncID < kFuncMin || FuncID > kFuncMax) {
        LOG_ERR("Function CMD error.");
        return -1;
    }
    CommFrameHead(txbuf, static_cast<uint16_t>(FuncID)); // a request that is refused has its number all the same
    if (FuncID == kSubdevReport) {
        LOG_ERR("Error comm_subdev_report"); // devices are only ever reported to us
        return -1;
    }
    const Request *request = FindRequest(FuncID);
    if (!request) {
        LOG_ERR("funcCMD error");
        return -1;
    }
    return SendRequest(*request, data, len);
}

// ---- Waiting ----

// Nobody could do anything with an answer any more.
static bool Ended()
{
    return CommRun != 1 || ServerRun != 1;
}

static bool LetGo()
{
    CommWakeRequesters();
    return false;
}

// The deadline of a wait that begins now; from here on the end of the session wakes it.
static int64_t BeginWait(int ticks)
{
    static ServerStopCall s_onStop = {LetGo, false, nullptr};
    ServerOnStop(&s_onStop);
    return OsNowMs() + std::min(ticks, kMostTicks) * kTickMs;
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

static std::atomic<int> s_free{1}; // 1 while no request is being made

static bool TakeTurn()
{
    int free = 1;
    return s_free.compare_exchange_strong(free, 0);
}

// The main thread ends a session, so it must not wait for a turn in one that is to end: hence the session's own wait.
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

// What lies in rxData behind the status and the length; gCommAnswer is held.
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
    OsGuard guard(&gCommAnswer); // over waiting and reading, so that nothing that comes then is read instead
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

// A request without a payload of ours, and the first `size` bytes of its answer.
static int Query(const char *function, uint32_t id, const char *failure, uint8_t *out = nullptr, size_t size = 0,
                 uint32_t *came = nullptr, int ticks = kAnswerTicks)
{
    return CommRequest({function, failure, id, nullptr, 0, ticks, out, size, came});
}

// A request of which only the status comes back.
static int Setting(const char *function, uint32_t id, const char *failure, const void *data, uint32_t length)
{
    return CommRequest({function, failure, id, data, length, kAnswerTicks, nullptr, 0, nullptr});
}

int ComF_get_wifi_freqband(uint32_t band, uint8_t *out)
{
    const uint8_t byte = static_cast<uint8_t>(band);
    return CommRequest({__func__, "ERROR: send command failed!", 70, &byte, 1, kAnswerTicks, out, 1, nullptr});
}

int ComF_get_mesh_support(uint8_t *out)
{
    return Query(__func__, 71, "ERROR: send get mesh support command failed!", out, 1);
}

int ComF_set_mesh_switch(uint8_t on)
{
    return Setting(__func__, 72, "ERROR: send set mesh switch command failed!", &on, 1);
}

int ComF_get_mesh_switch(uint8_t *out)
{
    return Query(__func__, 73, "ERROR: send get mesh switch command failed!", out, 1);
}

int ComF_set_mesh_roaming_switch(uint8_t on)
{
    return Setting(__func__, 74, "ERROR: send set mesh roaming switch command failed!", &on, 1);
}

int ComF_get_mesh_roaming_switch(uint8_t *out)
{
    return Query(__func__, 75, "ERROR: send get mesh roaming switch command failed!", out, 1);
}

int ComF_set_mesh_roaming_threshold(uint8_t a, uint8_t b)
{
    const uint8_t both[] = {a, b};
    return Setting(__func__, 76, "ERROR: send set mesh roaming threshold command failed!", both, sizeof both);
}

int ComF_get_mesh_roaming_threshold(uint8_t out[2])
{
    return Query(__func__, 77, "ERROR: send get mesh roaming threshold command failed!", out, 2);
}

int ComF_get_mesh_topology(uint8_t *out, uint32_t room, uint32_t *came)
{
    return Query(__func__, 78, "ERROR: send get mesh topology command failed!", out, room, came);
}

int ComF_get_adj_wifi_info(uint8_t *out, uint32_t room, uint32_t *came)
{
    return Query(__func__, 79, "ERROR: send get adj wifi info command failed!", out, room, came, kScanTicks);
}

int ComF_get_bssid(uint8_t *out, uint32_t room, uint32_t *came)
{
    return Query(__func__, 80, "ERROR: send get bssid command failed!", out, room, came);
}

int ComF_set_wan_cfg(const uint8_t record[228])
{
    return Setting(__func__, 82, "ERROR: send set wan cfg command failed!", record, kWanRecordSize);
}

int ComF_trig_onekey_optimize()
{
    return Query(__func__, 83, "ERROR: send trigger onekey optimize command failed!");
}

int ComF_trig_fault_diagnosis()
{
    return Query(__func__, 85, "ERROR: send trigger fault diagnosis command failed!");
}

int ComF_get_autoreport_conf()
{
    const int result = Query(__func__, 997, "ERROR: get auto report config info failed!");
    if (result == 0) LOG_DEBUG("DEBUG: get auto report config info success.");
    return result;
}

int ComF_send_pluginstate()
{
    if (CommSendCmd(kPluginState, nullptr, 0) != 0) {
        LOG_ERR("ERROR: send plugin state failed!");
        return kFailed;
    }
    LOG_DEBUG("send plugin state ok, no need ack.");
    return 0;
}
