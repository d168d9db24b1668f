// Rollout.h - what a staged update of a fleet decides: which routers are next, what became of each, when to stop.
//
// Routers stand in the order of a hash of their serial numbers, and a share is the beginning of it: each share contains
// the one before. A router gets the update once, whatever becomes of it. Its entry, {"to","md5","share","state",
// "version","sent","time","why"}, is what a later run with the same goal goes on from.
//
// State: the routers. Threads: one. It has no clock: `now` is in seconds since the epoch.
#pragma once

#include <array>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "gateway/translate/Json.h"

namespace gateway
{

// The number of "12.5%", at most 100; nothing for other texts.
std::optional<double> ParsePercent(const std::string &text);

struct RolloutRules {
    std::string version, md5;        // the goal
    std::vector<std::string> shares; // "10%" of the routers
    double failures = 1;             // percent of the routers tried; more stop it
    size_t atOnce = 50;              // routers
    int waitSeconds = 900;
    int settleSeconds = 60; // from the last result of a share to the next share
    bool retry = false;     // what is not updated by an earlier run
};

enum class RouterState {
    Waiting,
    Current, // has had the version before
    Asked,   // told of the update; nothing has happened yet
    Sent,    // told where the file is
    Loaded,  // has the file; its next login shows which agent runs
    Updated,
    Failed,
    Offline, // when it was its turn
    Count
};
const char *StateName(RouterState state);

class Rollout
{
  public:
    explicit Rollout(RolloutRules rules) : rules_(std::move(rules)) {}

    // Before it begins: the entry of an earlier run; a router that need not be online.
    void Recorded(const std::string &serial, const std::string &entry);
    void Listed(const std::string &serial) { routers_[serial]; }

    void Online(const std::string &serial, const std::string &version, uint64_t login, int64_t now);
    void Offline(const std::string &serial);
    // What a gateway has answered to plugin-update-check, or to plugin-update: one that was asked, or sent, the update.
    void Answered(const std::string &serial, bool sent, const std::string &answer, int64_t now);
    void Reported(const std::string &report, int64_t now); // plugin-update-report

    enum class Verdict { Going, Done, Stopped };
    // Ends what takes too long, and begins the next share when it is time.
    Verdict Step(int64_t now);

    struct Router {
        RouterState state = RouterState::Waiting;
        std::string share;        // empty: not chosen yet
        std::string version, why; // at its last login; it has failed
        uint64_t login = 0;
        int64_t asked = 0, changed = 0;
        bool online = false;
    };
    using Named = std::map<std::string, Router>::value_type; // stays where it is

    std::vector<const Named *> Take(int64_t now); // those to be asked now
    // Those with new entries since the last call. One that is Sent is sent the file's place once its entry is stored.
    std::vector<const Named *> Changed() { return std::exchange(changed_, {}); }
    std::string Entry(const Router &router) const;

    // The routers of the first shares, each with the share that it comes in.
    std::vector<std::pair<std::string, Named *>> Plan(size_t shares);
    size_t Count(RouterState state) const { return counts_[static_cast<size_t>(state)]; } // of those chosen
    std::string Progress() const; // "10%: 40 of 100 updated, 1 failed, 2 offline, 57 under way"

  private:
    void Choose(Named *router, const std::string &share);
    void Set(Named *router, RouterState state, int64_t now, const std::string &why = {});
    size_t UnderWay() const;
    size_t Tried() const;

    const RolloutRules rules_;
    std::map<std::string, Router> routers_;
    std::vector<Named *> chosen_;
    std::vector<const Named *> changed_;
    std::array<size_t, static_cast<size_t>(RouterState::Count)> counts_ = {};
    size_t begun_ = 0;       // shares
    int64_t lastResult_ = 0; // of this run
};

} // namespace gateway
