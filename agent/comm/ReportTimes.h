// ReportTimes.h - when in the day and when in a cycle this router has its reports made.
//
// Thousands of routers must not report in the same moment: the last three bytes of the MAC choose one of `referNum`
// slots, which lie evenly over the day for the daily report and over the period for the cyclic ones. Everything is
// computed in double precision, as the platform does.
//
// State: none. Threads: any.
#pragma once

#include <cstddef>
#include <cstdint>

constexpr int kReferNumMin = 5;
constexpr int kReferNumMax = 20000000;
constexpr int kDailyInterval = 1440; // minutes: the one value of interval2 that asks for a report a day

struct ReportPlan {
    uint32_t macValue;    // the last three bytes of the router's MAC, the first of them the highest
    int referNum;         // slots: kReferNumMin to kReferNumMax
    int interval2;        // minutes; kDailyInterval for a daily report
    int interval3;        // minutes between cyclic reports; none below 1
    const char *jumpTime; // the quiet period "H:MM-H:MM", or empty
    int difference;       // the platform's clock minus ours, seconds
    int64_t midnight;     // of today, seconds since the epoch
    int64_t now;          // seconds since the epoch
};

// Seconds since the epoch, with fractions; 0 where there is no such report.
struct ReportTimes {
    double day;   // the daily report
    double cycle; // the first of the cyclic reports that is still to come
};

// Returns 0, or -1 when a daily report is wanted and its quiet period is unusable.
int ReportTimesOf(const ReportPlan &plan, ReportTimes *times);

// Takes the quiet period "A-B" apart: `startOut` becomes its begin A and `endOut` its end B, in seconds of the day.
// Each is H:MM or HH:MM; what stands for digits is not checked, nor that hours are below 24. `text` is changed. Returns
// 0, or -1 with a log line: a time missing, not four or five characters, without ':', or both less than an hour apart.
int jumpTimeToSec(int *endOut, int *startOut, char *text);
