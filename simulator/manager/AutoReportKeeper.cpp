#include "simulator/manager/AutoReportKeeper.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace sim
{

static const size_t kMaxFile = 4096;

namespace
{
struct NumberRow {
    const char *name;
    std::optional<int64_t> AutoReportPlan::*member;
};
const NumberRow kNumbers[] = {
    {"referNum", &AutoReportPlan::referNum},   {"serverDiff", &AutoReportPlan::serverDiff},
    {"interval1", &AutoReportPlan::interval1}, {"interval2", &AutoReportPlan::interval2},
    {"interval3", &AutoReportPlan::interval3},
};
struct TimeRow {
    const char *name;
    double AutoReportPlan::*member;
};
const TimeRow kTimes[] = {
    {"dayReportTime", &AutoReportPlan::dayReportTime},
    {"cycleReportStart", &AutoReportPlan::cycleReportStart},
};
} // namespace

// The times are texts of numbers with decimals, "1700000000.250000".
static void TakeTimes(const Fields &fields, AutoReportPlan *plan)
{
    for (const TimeRow &row : kTimes)
        if (const Field *field = FindField(fields, row.name)) plan->*row.member = strtod(field->value.c_str(), nullptr);
}

static AutoReportPlan PlanFrom(const Fields &fields)
{
    AutoReportPlan plan;
    plan.kept = true;
    for (const NumberRow &row : kNumbers) {
        const Field *field = FindField(fields, row.name);
        if (field && field->kind == Field::Kind::Number)
            plan.*row.member = static_cast<int64_t>(strtod(field->value.c_str(), nullptr));
    }
    const Field *quiet = FindField(fields, "jumpTime");
    if (quiet && quiet->kind == Field::Kind::Text) plan.jumpTime = quiet->value;
    TakeTimes(fields, &plan);
    return plan;
}

static bool ObjectFrom(const std::string &text, Fields *fields)
{
    Field json;
    if (!FieldFromJson("", text, &json) || json.kind != Field::Kind::Object) return false;
    *fields = json.children;
    return true;
}

bool AutoReportKeeper::Load(std::string *error)
{
    if (file_.empty()) return true;
    FILE *file = fopen(file_.c_str(), "re");
    if (!file && errno == ENOENT) return true;
    *error = "cannot read " + file_ + ": " + strerror(errno);
    if (!file) return false;
    char text[kMaxFile];
    const size_t length = fread(text, 1, sizeof text, file);
    fclose(file);
    Fields fields;
    if (!ObjectFrom(std::string(text, length), &fields)) {
        *error = file_ + " holds no JSON object";
        return false;
    }
    plan_ = PlanFrom(fields);
    return true;
}

bool AutoReportKeeper::Take(const std::string &text, bool *saved, std::string *error)
{
    Fields fields;
    *saved = false;
    if (!ObjectFrom(text, &fields)) {
        *error = "the configuration is no JSON object";
        return false;
    }
    const Field *save = FindField(fields, "save");
    if (save && save->value == "0") {
        TakeTimes(fields, &plan_);
        return true;
    }
    plan_ = PlanFrom(fields);
    *saved = true;
    return Store(error);
}

// Without the times.
static Fields NumbersOf(const AutoReportPlan &plan)
{
    Fields fields;
    for (const NumberRow &row : kNumbers)
        if (plan.*row.member) fields.push_back(NumberField(row.name, *(plan.*row.member)));
    if (!plan.jumpTime.empty()) fields.push_back(TextField("jumpTime", plan.jumpTime));
    return fields;
}

std::string AutoReportKeeper::Told() const
{
    return plan_.kept ? ToJson(NumbersOf(plan_)) : "";
}

Fields AutoReportKeeper::Show() const
{
    Fields fields = NumbersOf(plan_);
    fields.insert(fields.begin(), FlagField("kept", plan_.kept));
    for (const TimeRow &row : kTimes) fields.push_back(RealField(row.name, plan_.*row.member, 6));
    return fields;
}

void AutoReportKeeper::Forget()
{
    plan_ = {};
    if (!file_.empty()) unlink(file_.c_str());
}

// Writes a new file and renames it, so that there is always a complete one.
bool AutoReportKeeper::Store(std::string *error) const
{
    if (file_.empty()) return true;
    const std::string fresh = file_ + ".new";
    *error = "cannot write " + fresh;
    const int fd = open(fresh.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (fd < 0) return false;
    const std::string text = ToJson(Show()) + "\n";
    const bool written = write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    return close(fd) == 0 && written && rename(fresh.c_str(), file_.c_str()) == 0;
}

} // namespace sim
