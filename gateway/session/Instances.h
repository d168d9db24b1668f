// Instances.h - the gateways that are alive: each writes itself into the bucket plug_gateways again and again, and is
// dead when it has not for a while.
// State: a copy of the bucket. Threads: any.
#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "gateway/bus/Watch.h"
#include "gateway/session/RateLimit.h"
#include "protocol/Address.h"

namespace gateway
{

constexpr char kGatewaysBucket[] = "plug_gateways"; // id -> {"login": address}
constexpr std::chrono::seconds kBeat{5}, kDeadAfter{15};

// The entry of a gateway; without a login server, routers are not sent to it.
std::string InstanceText(const std::optional<protocol::Address> &login);

class Instances
{
  public:
    void Take(const Change &change, Clock::time_point now);
    bool Alive(const std::string &id, Clock::time_point now) const;
    std::vector<std::string> All(Clock::time_point now) const;
    // The login server of a router, among those that are alive; nothing when there is none.
    std::optional<protocol::Address> LoginServer(const std::string &serial, Clock::time_point now) const;

  private:
    struct Instance {
        std::string login; // "1.2.3.4:6040", or empty
        Clock::time_point heard;
    };
    mutable std::mutex lock_; // guards what follows
    std::map<std::string, Instance> instances_;
};

} // namespace gateway
