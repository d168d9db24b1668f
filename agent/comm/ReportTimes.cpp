#define LOG_MODULE "CommServer"
#include "comm/ReportTimes.h"

#include <cstdio>
#include <cstring>

#include "core/Common.h"
#include "os/OsDivide.h"

static const int kDaySeconds = 86400;
static const int kMinSpan = 3600;         // seconds between the two ends of a quiet period
static const size_t kJumpTextSize = 20;   // bytes of a quiet period that are read, with the NUL
static const int kJustPassedSeconds = 30; // a start less than this ago still counts

// ---- The quiet period ----

static int TwoDigits(const char *digits)
{
    return (digits[0] - '0') * 10 + (digits[1] - '0');
}

// Stores the seconds of the day that `time` says. Returns 0, or -1 with a log line.
static int TimeOfDay(const char *time, int *seconds)
{
    const size_t length = strlen(time);
    if (length != 4 && length != 5) {
        LOG_AS(LOG_LEVEL_ERR, "jumpTimeToSec", "Time data length error!!!");
        return -1;
    }
    if (!strchr(time, ':')) {
        LOG_AS(LOG_LEVEL_ERR, "jumpTimeToSec", "Time data error!!!");
        return -1;
    }
    const bool oneDigit = time[1] == ':';
    const int hours = oneDigit ? time[0] - '0' : TwoDigits(time);
    const int minutes = TwoDigits(time + (oneDigit ? 2 : 3));
    *seconds = hours * 3600 + minutes * 60;
    return 0;
}

int jumpTimeToSec(int *endOut, int *startOut, char *text)
{
    char *rest = nullptr;
    const char *first = strtok_r(text, "-", &rest);
    if (!first) {
        LOG_ERR("jump time error!!!");
        return -1;
    }
    if (TimeOfDay(first, startOut) != 0) return -1;
    const char *second = strtok_r(nullptr, "-", &rest);
    if (!second) {
        LOG_ERR("jump time error!");
        return -1;
    }
    if (TimeOfDay(second, endOut) != 0) return -1;
    const int apart = *endOut - *startOut;
    if (apart > -kMinSpan && apart < kMinSpan) {
        LOG_ERR("jump time is little than 3600!");
        return -1;
    }
    return 0;
}

// ---- The times ----

// Returns where this router's slot begins in `length` seconds that are divided into plan.referNum slots.
static double Slot(const ReportPlan &plan, double length)
{
    const uint32_t slots = static_cast<uint32_t>(plan.referNum);
    return plan.macValue % slots * (length / slots);
}

// The daily report falls between the end of the quiet period and its next start. The slot of the whole day is wrapped
// into that span and not computed anew: the platform expects the same time.
static int DayOutsideQuietPeriod(const ReportPlan &plan, double slot, double *day)
{
    char text[kJumpTextSize];
    snprintf(text, sizeof text, "%s", plan.jumpTime);
    int start, end;
    if (jumpTimeToSec(&end, &start, text) != 0) return -1;
    if (end >= start) start += kDaySeconds;
    // Hours are not checked, so the span may be negative; as the modulus it counts as unsigned. If it is 0, there is no
    // time to report at.
    const uint32_t span = static_cast<uint32_t>(start - end);
    if (span == 0) return -1;
    const uint32_t whole = static_cast<uint32_t>(slot);
    const uint32_t wrapped = whole % span;
    *day = static_cast<double>(plan.midnight) + (static_cast<double>(end) + wrapped + plan.difference) + (slot - whole);
    return 0;
}

static double CycleStart(const ReportPlan &plan)
{
    const int64_t period = static_cast<int64_t>(plan.interval3) * 60;
    const double start = static_cast<double>(plan.midnight + plan.difference) + Slot(plan, static_cast<double>(period));
    const int64_t passed = plan.now - static_cast<int64_t>(start);
    if (passed < kJustPassedSeconds) return start;
    const uint64_t begun = OsDivide(static_cast<uint64_t>(passed + kJustPassedSeconds), static_cast<uint64_t>(period));
    return start + static_cast<double>(period * static_cast<int64_t>(begun + 1));
}

int ReportTimesOf(const ReportPlan &plan, ReportTimes *times)
{
    *times = {};
    if (plan.interval2 == kDailyInterval) {
        const double slot = Slot(plan, kDaySeconds);
        if (plan.jumpTime[0] == '\0')
            times->day = static_cast<double>(plan.midnight + plan.difference) + slot;
        else if (DayOutsideQuietPeriod(plan, slot, &times->day) != 0)
            return -1;
    }
    if (plan.interval3 >= 1) times->cycle = CycleStart(plan);
    return 0;
}
