#define LOG_MODULE "CommServer"
#include "comm/CommReports.h"

#include <cstring>

#include "comm/FirmwareAnswer.h"
#include "comm/FuncIdList.h"
#include "core/Common.h"
#include "core/Config.h"
#include "core/Wire.h"
#include "os/OsClock.h"
#include "os/OsMemory.h"
#include "platform/Frame.h"
#include "platform/Protool.h"
#include "platform/Sending.h"

uint16_t autoReportSeq = 1;

// When the last report of each type of FuncID 89 came, dropped ones included: seconds since the epoch.
static const int64_t kNoneYet = INT64_MIN; // not 0, which is a valid time on a router without a clock
static int64_t oldSecond1 = kNoneYet;
static int64_t oldSecond2 = kNoneYet;
static int64_t oldSecond3 = kNoneYet;
static uint8_t oldSum; // of the last report of type 1

static const size_t kReportRoom = 8192;
static const size_t kMaxReportHead = 8;
static_assert(kMaxReportHead + kCommSlotPayload <= kReportRoom, "a report may not fit");

// Shortest intervals in seconds.
static const int64_t kMinType1Same = 120; // between reports of type 1 with the same sum
static const int64_t kMinType1 = 5;
static const int64_t kMinType2 = 1170;
static const int64_t kMinType3 = 50;

void CommReportsReset()
{
    oldSecond1 = oldSecond2 = oldSecond3 = kNoneYet;
    oldSum = 0;
}

// ---- Forwarding ----

static void Dump(const CommFrame &frame, const uint8_t *report, size_t length)
{
    flockfile(stdout);
    printf("\nFuncID %d, Auto report info:\n", frame.funcId);
    PrintBytes(report, length);
    funlockfile(stdout);
}

// Sends the frame's payload to the platform after the agent's header. `function` stands in the log.
static void Forward(const CommFrame &frame, const char *function)
{
    if (frame.length < 1) {
        LOG_AS(LOG_LEVEL_ERR, function, "ERROR: receive data length error!");
        return;
    }
    uint8_t *report = static_cast<uint8_t *>(OsAllocate(kReportRoom));
    if (!report) return;
    WireWriter w = WireWrite(report, kReportRoom);
    WirePutLe16(&w, swapInt16(autoReportSeq++));
    WirePutLe16(&w, swapInt16(frame.funcId));
    WirePutLe16(&w, 0);
    if (frame.funcId != FUNCID_WAN_REPORT) WirePutLe16(&w, swapInt16(static_cast<uint16_t>(frame.length)));
    WirePutBytes(&w, frame.payload, frame.length);
    if (l_debug == 1) Dump(frame, report, w.used);
    SendIpUpData(report, static_cast<int>(w.used), static_cast<uint8_t>(frame.funcId), 1, gRoutemac);
    OsFree(report);
}

// Turns the 32-bit field at `at` of the payload into network order. Fields after the end of a short payload still lie
// in the slot.
static void ToNetworkOrder(uint8_t *payload, size_t at)
{
    WireReader r = WireRead(payload + at, 4);
    swapNet32(payload + at, WireGetLe32(&r));
}

void CommAutoReport(const CommFrame &frame)
{
    // The 16-bit fields of the record, at 0, 3, 5 and 225, stay as they are.
    static const size_t kAddresses[] = {205, 209, 213, 217, 221};
    static_assert(221 + 4 <= kCommSlotPayload, "a field lies outside the slot");
    for (const size_t at : kAddresses) ToNetworkOrder(frame.payload, at);
    Forward(frame, __func__);
}

void CommAutoJsonReport(const CommFrame &frame)
{
    Forward(frame, __func__);
}

// ---- FuncID 89 ----

// Returns the seconds since the last report of a type, INT64_MAX when there was none, and notes this one in `last`. The
// result is negative if the date was set back.
static int64_t Interval(int64_t *last)
{
    const int64_t now = OsWallTime();
    const int64_t interval = *last == kNoneYet ? INT64_MAX : now - *last;
    *last = now;
    return interval;
}

// The first interval is logged as the seconds since the epoch.
static void ShowInterval(int type, int64_t interval, int64_t now)
{
    LOG_AS(LOG_LEVEL_DEBUG, "CommAutoReport89", "Type%d report interval: %lld seconds!", type,
           static_cast<long long>(interval == INT64_MAX ? now : interval));
}

static bool Type1Comes(const CommFrame &frame)
{
    const int64_t interval = Interval(&oldSecond1);
    ShowInterval(1, interval, oldSecond1);
    const uint8_t sum = GetCheckSum(frame.payload, frame.length);
    const bool same = sum == oldSum;
    oldSum = sum;
    if (interval >= kMinType1Same || (!same && interval >= kMinType1)) return true;
    LOG_AS(LOG_LEVEL_ERR, "CommAutoReport89", "ERROR: type1 report error!");
    return false;
}

static bool Type2Comes()
{
    if (Interval(&oldSecond2) >= kMinType2) return true;
    LOG_AS(LOG_LEVEL_ERR, "CommAutoReport89", "ERROR: type2 report error!");
    return false;
}

static bool Type3Comes()
{
    const int64_t interval = Interval(&oldSecond3);
    ShowInterval(3, interval, oldSecond3);
    if (interval >= kMinType3) return true;
    LOG_AS(LOG_LEVEL_ERR, "CommAutoReport89", "ERROR: type3 report error!");
    return false;
}

static bool Comes(const CommFrame &frame)
{
    switch (frame.payload[0]) {
    case 1: return Type1Comes(frame);
    case 2: return Type2Comes();
    case 3: return Type3Comes();
    default: LOG_AS(LOG_LEVEL_ERR, "CommAutoReport89", "ERROR: type error!"); return false;
    }
}

void CommAutoReport89(const CommFrame &frame)
{
    if (Comes(frame)) Forward(frame, __func__);
}

// ---- FuncID 999 ----

void CommFwUpdateResult(const CommFrame &frame)
{
    if (frame.length != 1) {
        LOG_ERR("Firmware update return length error.");
        return;
    }
    const uint8_t code = frame.payload[0];
    if (code == 0)
        LOG_DEBUG("update firmware success.");
    else
        LOG_ERR("update firmware file error.");
    SendFirmwareAnswer(code, FirmwareText(code));
}
