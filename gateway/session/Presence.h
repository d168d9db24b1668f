// Presence.h - which router is online at which gateway: the sessions here, and a copy of the bucket plug_sessions.
//
// Of two sessions of one router the newer one counts. The bucket's revisions say which one that is, on whatever gateways
// they are; of two that begin at the same moment, either may be the newer one.
//
// State: both. Threads: any.
#pragma once

#include <map>
#include <mutex>
#include <unordered_map>

#include "gateway/bus/Stored.h"
#include "gateway/bus/Watch.h"
#include "gateway/translate/Json.h"

namespace gateway
{

class Shard;

constexpr char kSessionsBucket[] = "plug_sessions"; // serial number -> where it is online

// A session of this gateway.
struct Here {
    Shard *shard = nullptr;
    uint64_t session = 0;
};

using LastReport = std::pair<std::string, int64_t>; // its name, and when it came, in seconds since the epoch

struct Elsewhere {
    std::string gateway, mac, version, address;
    int64_t since = 0; // seconds since the epoch
    uint64_t revision = 0;
    gateway::LastReport lastReport = {}; // as its gateway has told
};
// Nothing when there is no entry any more, or none that a gateway has written.
std::optional<Elsewhere> ReadPresence(const Change &change);

class Presence
{
  public:
    // `replaced` is told of a session here that has a newer one somewhere, on any thread. It may not call this object.
    Presence(std::string gateway, Stored &stored, asio::io_context &context,
             std::function<void(const Here &)> replaced);

    void Online(const std::string &serial, const Here &here, const Elsewhere &seen);
    void Offline(const std::string &serial, uint64_t session);
    void Reported(const std::string &serial, const std::string &report, int64_t time);
    void Take(const Change &change); // of the bucket
    // Writes again what the bucket has not taken; call it now and then.
    void Repeat();

    std::optional<Here> FindHere(const std::string &serial) const;
    // The newest report of a router's session, here or elsewhere; empty and 0 when none is known.
    gateway::LastReport LastReport(const std::string &serial) const;
    // Those of the sessions here, {"R1":["device-list",1700000000],...}: at most so many, of the serial numbers that come
    // behind `after`. What another gateway has answered to that question.
    Json LastReports(const std::string &after, size_t most) const;
    void Learn(const std::string &gateway, const Json &reports);
    // As the bucket has it; its gateway may be dead, and may be this one.
    std::optional<Elsewhere> Find(const std::string &serial) const;
    std::vector<std::pair<std::string, Here>> AllHere() const;
    std::vector<std::pair<std::string, Elsewhere>> All() const;

  private:
    struct Local {
        Here here;
        std::string entry;
        uint64_t revision = 0; // 0: not in the bucket yet
        bool failed = false;   // nor on its way there
        gateway::LastReport lastReport = {};
    };
    // These with the lock held.
    void Write(const std::string &serial, const Local &local);
    void EndIfReplaced(const std::string &serial) const; // by one that the bucket has
    void Written(const std::string &serial, uint64_t session, std::optional<uint64_t> revision);

    const std::string gateway_;
    Stored &stored_;
    asio::io_context &context_;
    const std::function<void(const Here &)> replaced_;
    mutable std::mutex lock_; // guards what follows
    std::map<std::string, Local> here_;
    std::unordered_map<std::string, Elsewhere> all_;
};

} // namespace gateway
