#define LOG_MODULE "CommServer"
#include "comm/CommHandle.h"

#include <cstring>

#include "comm/AutoReport.h"
#include "comm/ComRequests.h"
#include "comm/CommFrame.h"
#include "comm/CommReports.h"
#include "comm/CommServer.h"
#include "comm/RingQueue.h"
#include "core/Common.h"
#include "core/Wire.h"
#include "platform/Protool.h"

OsWaiter gCommAnswer;
std::atomic<int> CommReceived;
uint32_t CommAsked;
uint8_t rxData[kRxDataSize];

static DevicesHandler s_onDevices;
static OsWaiter s_frames; // woken when a frame has been queued or CommRun is cleared

static const int64_t kFramePauseMs = 10;
static const uint8_t kTooLarge = 1; // status of an answer that cannot be kept
static const uint16_t kSetAutoReport = 88;
static const uint16_t kAutoReportConf = 997;
static const uint32_t kPluginState = 998;

static_assert(kRxDataHead + kRxAnswerMax + 1 <= kRxDataSize, "the longest answer and its NUL do not fit");

// ---- Whose answer it is ----

// Whether a frame of `funcId` is of no concern to the request that is being made. gCommAnswer is held.
static bool ForAnother(uint16_t funcId)
{
    const bool ofDuties = funcId == kSetAutoReport || funcId == kAutoReportConf;
    return ofDuties && CommAsked != 0 && CommAsked != funcId;
}

void CommForgetAnswer(uint16_t funcId)
{
    OsGuard guard(&gCommAnswer);
    if (!ForAnother(funcId)) CommReceived = 0;
}

static void Announce(uint16_t funcId)
{
    OsGuard guard(&gCommAnswer);
    if (ForAnother(funcId)) return;
    CommReceived = 1;
    OsWakeAll(&gCommAnswer);
}

// ---- What a frame does ----

static void KeepAnswer(const CommFrame &frame)
{
    const uint8_t status = frame.payload[0];
    OsGuard guard(&gCommAnswer);
    if (ForAnother(frame.funcId)) return;
    if (status != 0) {
        rxData[0] = status;
        return;
    }
    if (frame.length < 1 || frame.length - 1 > kRxAnswerMax) {
        LOG_AS(LOG_LEVEL_ERR, "CommFuncRecv", "ERROR: receive data too large!");
        rxData[0] = kTooLarge;
        return;
    }
    WireWriter w = WireWrite(rxData, sizeof rxData);
    WirePut8(&w, 0);
    WirePutLe16(&w, static_cast<uint16_t>(frame.length));
    WirePutBytes(&w, frame.payload + 1, frame.length - 1);
    WirePut8(&w, '\0');
    LOG_AS(LOG_LEVEL_DEBUG, "CommFuncRecv", "Recv length: %d", static_cast<int>(frame.length));
}

static void TellPluginState(const CommFrame &frame)
{
    if (frame.payload[0] != 'i')
        LOG_AS(LOG_LEVEL_DEBUG, "CommHandleProc", "Old plugin no plugin state notice.");
    else if (CommSendCmd(kPluginState, nullptr, 0) == 0)
        LOG_AS(LOG_LEVEL_DEBUG, "CommHandleProc", "send plugin state ok, no need ack.");
    else
        LOG_AS(LOG_LEVEL_ERR, "CommHandleProc", "ERROR: send plugin state failed!");
}

// Answers that are only logged.
static void Note(const char *name)
{
    LOG_AS(LOG_LEVEL_DEBUG, "CommHandleProc", "%s", name);
}

static void Dispatch(const CommFrame &frame)
{
    switch (frame.funcId) {
    case 1: Note("comm_get_version"); break;
    case 2: Note("comm_get_base_info"); break;
    case 3: Note("comm_get_wan_cfg"); break;
    case 4: Note("comm_get_wans_cfg"); break;
    case 5: Note("comm_get_wan_tcp_con_num"); break;
    case 40:
        if (s_onDevices) s_onDevices(frame.payload, frame.length);
        break;
    case 70:
    case 71:
    case 72:
    case 73:
    case 74:
    case 75:
    case 76:
    case 77:
    case 78:
    case 79:
    case 80:
    case 82:
    case 83:
    case 85:
    case kSetAutoReport: KeepAnswer(frame); break;
    case 81: CommAutoReport(frame); break;
    case 84:
    case 86: CommAutoJsonReport(frame); break;
    case 89: CommAutoReport89(frame); break;
    case kAutoReportConf: Comm_get_88Conf(frame.payload, frame.length); break;
    case kPluginState: TellPluginState(frame); break;
    case 999: CommFwUpdateResult(frame); break;
    default: LOG_AS(LOG_LEVEL_ERR, "CommHandleProc", "Error funcID"); break;
    }
}

void CommOnDevices(DevicesHandler handler)
{
    s_onDevices = handler;
}

void CommHandleFrame(uint8_t *slot)
{
    if (mLogin != 1) return;
    CommFrame frame;
    if (!CommFrameCheck(slot, &frame)) return;
    Dispatch(frame);
    Announce(frame.funcId);
}

// ---- The thread ----

// Waits for a frame. Returns its slot, or nullptr when the server ends.
static uint8_t *AwaitFrame(RingQueue *queue)
{
    OsGuard guard(&s_frames);
    while (CommRun == 1) {
        if (uint8_t *slot = RingQueue_Pop(queue)) return slot;
        OsWaitUntil(&s_frames, OS_FOREVER);
    }
    return nullptr;
}

void *CommHandleProc(void *queue)
{
    while (uint8_t *slot = AwaitFrame(static_cast<RingQueue *>(queue))) {
        CommHandleFrame(slot);
        CommWaitForStop(kFramePauseMs);
    }
    return nullptr;
}

void CommHandleWake()
{
    OsGuard guard(&s_frames);
    OsWakeAll(&s_frames);
}
