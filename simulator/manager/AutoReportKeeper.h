// AutoReportKeeper.h - the auto-report configuration of the local peer: set by the agent, returned when the agent asks,
// and stored in a file if one is given.
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
    bool kept = false; // there is a configuration
    std::optional<int64_t> referNum, serverDiff, interval1, interval2, interval3;
    std::string jumpTime;
    double dayReportTime = 0;    // seconds since the epoch, 0 for none
    double cycleReportStart = 0; // the same
};

class AutoReportKeeper
{
  public:
    // With an empty `file` the configuration is kept in memory only.
    explicit AutoReportKeeper(const std::string &file = "") : file_(file) {}

    // Reads the file; a missing file counts as empty. Returns false with the reason when it is damaged.
    [[nodiscard]] bool Load(std::string *error);

    // Takes the text of the agent. Keeps all of it, but with "save" 0 only the times; sets `saved` to tell which.
    // Returns false with the reason when the text is unusable or cannot be stored.
    [[nodiscard]] bool Take(const std::string &text, bool *saved, std::string *error);

    // Returns the text for the agent; empty without a configuration.
    [[nodiscard]] std::string Told() const;

    // Drops the configuration and removes its file.
    void Forget();

    const AutoReportPlan &Plan() const { return plan_; }
    // Returns the configuration and the times to show.
    [[nodiscard]] Fields Show() const;

  private:
    bool Store(std::string *error) const;

    std::string file_;
    AutoReportPlan plan_;
};

} // namespace sim
