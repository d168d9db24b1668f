#define LOG_MODULE "CommServer"
#include "comm/CommHandle.h"

#include "comm/AutoReport.h"
#include "comm/ComRequests.h"
#include "comm/CommAnswer.h"
#include "comm/CommFrame.h"
#include "comm/CommLink.h"
#include "comm/CommReports.h"
#include "comm/RingQueue.h"
#include "core/Common.h"
#include "os/OsWait.h"
#include "platform/Protool.h"

static DevicesHandler s_onDevices;
static OsWaiter s_frames; // woken when a frame has been queued or CommRun is cleared

static const int64_t kFramePauseMs = 10;
static const uint16_t kSetAutoReport = 88;
static const uint16_t kAutoReportConf = 997;
static const uint32_t kPluginState = 998;

// ---- What a frame does ----

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
    case kSetAutoReport: CommKeepAnswer(frame.funcId, frame.payload, frame.length); break;
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
    CommAnnounceAnswer(frame.funcId);
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
