// AutoReportKeeper.h - the auto-report configuration as the management process keeps it: handed over by the agent, told
// when the agent asks, and stored in a file if one is given.
// State: one object. Threads: the caller's.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "protocol/Tree.h"

namespace sim
{

using namespace protocol;

struct AutoReportPlan {
    bool kept = false; // a configuration is there
    std::optional<int64_t> referNum, serverDiff, interval1, interval2, interval3;
    std::string jumpTime;
    double dayReportTime = 0;    // seconds since the epoch, 0 for none
    double cycleReportStart = 0; // the same
};

class AutoReportKeeper
{
  public:
    // `file` may be empty: then it is kept in memory only.
    explicit AutoReportKeeper(const std::string &file = "") : file_(file) {}

    // Reads the file. One that is not there is an empty one. False with the reason when it is damaged.
    bool Load(std::string *error);

    // Takes what the agent hands over. With "save" other than 0 all of it is kept; otherwise only the times are, for
    // a configuration that is kept already. False with the reason when the text is unusable or cannot be stored.
    bool Take(const std::string &text, bool *saved, std::string *error);

    // What the agent is told; empty when nothing is kept.
    std::string Told() const;

    void Forget(); // its file too

    const AutoReportPlan &Plan() const { return plan_; }
    Fields Show() const;

  private:
    bool Store(std::string *error) const;

    std::string file_;
    AutoReportPlan plan_;
};

} // namespace sim
