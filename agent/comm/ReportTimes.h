// ReportTimes.h - at what time of the day and of a cycle the local peer of this router reports.
//
// Thousands of routers must not report at the same moment: the last three bytes of the MAC choose one of `referNum`
// slots, which divide the day for the daily report and the period for the cyclic ones. Everything is computed in double
// precision, as the platform does.
//
// State: none. Threads: any.
#pragma once

#include <cstddef>
#include <cstdint>

constexpr int kMinReferNum = 5;
constexpr int kMaxReferNum = 20000000;
constexpr int kDailyInterval = 1440; // minutes: the value of interval2 that asks for one report a day

struct ReportPlan {
    uint32_t macValue;    // the last three bytes of the router's MAC, big-endian
    int referNum;         // slots: kMinReferNum to kMaxReferNum
    int interval2;        // minutes; kDailyInterval for a daily report
    int interval3;        // minutes between cyclic reports; none below 1
    const char *jumpTime; // the quiet period "H:MM-H:MM", or empty
    int difference;       // the platform's clock minus ours, seconds
    int64_t midnight;     // of today, seconds since the epoch
    int64_t now;          // seconds since the epoch
};

// Seconds since the epoch, with fractions; 0 if there is no such report.
struct ReportTimes {
    double day;   // the daily report
    double cycle; // the next cyclic report
};

// Stores the times at `times`. Returns 0, or -1 when a daily report is wanted and its quiet period is unusable.
[[nodiscard]] int ReportTimesOf(const ReportPlan &plan, ReportTimes *times);

// Splits the quiet period "A-B": stores its start A at `startOut` and its end B at `endOut`, in seconds of the day.
// Each is H:MM or HH:MM; neither the digits nor the range of the hours are checked. Changes `text`. Returns 0, or -1
// with a log line when a time is missing, has not four or five characters, has no ':' or is less than an hour from the
// other.
[[nodiscard]] int jumpTimeToSec(int *endOut, int *startOut, char *text);
