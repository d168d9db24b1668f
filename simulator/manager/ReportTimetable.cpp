#include "simulator/manager/ReportTimetable.h"

#include <cmath>
#include <ctime>

#include "simulator/console/Words.h"

namespace sim
{

static const double kDay = 86400;
static const double kMinute = 60;
static const int64_t kDaily = 1440;

// Returns the first of the times `start`, `start` + `period`, ... after `now`.
static double NextOf(double start, double period, double now)
{
    if (start > now) return start;
    return start + (std::floor((now - start) / period) + 1) * period;
}

std::vector<NextReport> NextReports(const AutoReportPlan &plan, double since, double now)
{
    std::vector<NextReport> reports;
    if (plan.interval1.value_or(0) >= 1)
        reports.push_back({1, NextOf(since, static_cast<double>(*plan.interval1) * kMinute, now)});
    if (plan.interval2.value_or(0) == kDaily && plan.dayReportTime > 0)
        reports.push_back({2, NextOf(plan.dayReportTime, kDay, now)});
    if (plan.interval3.value_or(0) >= 1 && plan.cycleReportStart > 0)
        reports.push_back({3, NextOf(plan.cycleReportStart, static_cast<double>(*plan.interval3) * kMinute, now)});
    return reports;
}

// "21:30" or "21:30:00"; digits and colons in their places.
static bool ReadClock(const std::string &text, struct tm *time)
{
    if (text.size() != 5 && text.size() != 8) return false;
    int64_t parts[3] = {};
    static const int64_t kHighest[] = {23, 59, 59};
    for (size_t i = 0; i * 3 < text.size(); i++) {
        const std::string digits = text.substr(i * 3, 2);
        if (digits.find_first_not_of("0123456789") != std::string::npos) return false;
        if (!ParseNumber(digits, 0, kHighest[i], &parts[i])) return false;
        if (i > 0 && text[i * 3 - 1] != ':') return false;
    }
    time->tm_hour = static_cast<int>(parts[0]);
    time->tm_min = static_cast<int>(parts[1]);
    time->tm_sec = static_cast<int>(parts[2]);
    return true;
}

bool UntilClock(const std::string &text, double now, int64_t *milliseconds)
{
    const time_t whole = static_cast<time_t>(now);
    struct tm local;
    localtime_r(&whole, &local);
    if (!ReadClock(text, &local)) return false;
    local.tm_isdst = -1;
    double due = static_cast<double>(mktime(&local));
    if (due <= now) {
        local.tm_mday++;
        local.tm_isdst = -1;
        due = static_cast<double>(mktime(&local));
    }
    *milliseconds = std::llround((due - now) * 1000);
    return true;
}

} // namespace sim
