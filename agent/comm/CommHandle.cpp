#define LOG_MODULE "CommServer"
#include "comm/CommHandle.h"

#include "comm/AutoReport.h"
#include "comm/ComRequests.h"
#include "comm/CommAnswer.h"
#include "comm/CommFrame.h"
#include "comm/CommLink.h"
#include "comm/CommReports.h"
#include "comm/FuncIdList.h"
#include "comm/RingQueue.h"
#include "core/Common.h"
#include "os/OsWait.h"
#include "platform/Protool.h"

static CommDevicesHandler s_onDevices;
static OsWaiter s_frames; // woken when a frame has been queued or CommRun is cleared

static const int64_t kFramePauseMs = 10;

// ---- What a frame does ----

static void TellPluginState(const CommFrame &frame)
{
    if (frame.payload[0] != 'i')
        LOG_AS(LOG_LEVEL_DEBUG, "CommHandleProc", "Old plugin no plugin state notice.");
    else if (CommSendCmd(FUNCID_PLUGIN_STATE, nullptr, 0) == 0)
        LOG_AS(LOG_LEVEL_DEBUG, "CommHandleProc", "send plugin state ok, no need ack.");
    else
        LOG_AS(LOG_LEVEL_ERR, "CommHandleProc", "ERROR: send plugin state failed!");
}

static void Dispatch(const CommFrame &frame)
{
    const FuncIdRow *const row = FuncIdFind(frame.funcId);
    if (!row) {
        LOG_AS(LOG_LEVEL_ERR, "CommHandleProc", "Error funcID");
        return;
    }
    switch (row->arrival) {
    case ARRIVAL_LOGGED: LOG_AS(LOG_LEVEL_DEBUG, "CommHandleProc", "%s", row->text); break;
    case ARRIVAL_ANSWER: CommKeepAnswer(frame.funcId, frame.payload, frame.length); break;
    case ARRIVAL_CONFIG: Comm_get_88Conf(frame.payload, frame.length); break;
    case ARRIVAL_DEVICES:
        if (s_onDevices) s_onDevices(frame.payload, frame.length);
        break;
    case ARRIVAL_WAN_REPORT: CommAutoReport(frame); break;
    case ARRIVAL_JSON_REPORT: CommAutoJsonReport(frame); break;
    case ARRIVAL_TYPED_REPORT: CommAutoReport89(frame); break;
    case ARRIVAL_QUESTION: TellPluginState(frame); break;
    case ARRIVAL_RESULT: CommFwUpdateResult(frame); break;
    }
}

void CommOnDevices(CommDevicesHandler handler)
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

// Waits for a frame. Returns its slot; nullptr when the server ends.
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
