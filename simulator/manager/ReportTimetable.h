// ReportTimetable.h - when the management process reports by itself, as its configuration has it.
// State: none. Threads: any.
#pragma once

#include <string>
#include <vector>

#include "simulator/manager/AutoReportKeeper.h"

namespace sim
{

struct NextReport {
    int type;   // of FuncID 89
    double due; // seconds since the epoch, behind `now`
};

// The next report of each type that is configured: type 1 every interval1 minutes from `since`, type 2 once a day at
// dayReportTime when interval2 is 1440, type 3 every interval3 minutes from cycleReportStart.
std::vector<NextReport> NextReports(const AutoReportPlan &plan, double since, double now);

// Milliseconds from `now` (seconds since the epoch) to the next time that the local clock shows HH:MM:SS or HH:MM.
// False when `text` is no such time.
bool UntilClock(const std::string &text, double now, int64_t *milliseconds);

} // namespace sim
