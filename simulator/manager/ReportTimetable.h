// ReportTimetable.h - when the local peer reports by itself, by its configuration.
// State: none. Threads: any.
#pragma once

#include <string>
#include <vector>

#include "simulator/manager/AutoReportKeeper.h"

namespace sim
{

struct NextReport {
    int type;   // of FuncID 89
    double due; // seconds since the epoch, after `now`
};

// Returns the next report of each configured type: type 1 every interval1 minutes from `since`, type 2 once a day at
// dayReportTime when interval2 is 1440, type 3 every interval3 minutes from cycleReportStart.
[[nodiscard]] std::vector<NextReport> NextReports(const AutoReportPlan &plan, double since, double now);

// Stores the milliseconds from `now` (seconds since the epoch) until the local clock next shows `text`, HH:MM:SS or
// HH:MM. Returns false when `text` is no such time.
[[nodiscard]] bool UntilClock(const std::string &text, double now, int64_t *milliseconds);

} // namespace sim
