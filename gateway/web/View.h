// View.h - what the web server asks the gateway. The gateway implements it; tests put a fake in its place.
//
// Threads: the web server's own, several at once. A call may block for as long as a question takes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "gateway/translate/Json.h"

namespace gateway
{

struct Health {
    bool good = false;
    std::string sentence; // "23 sessions, NATS connected", or what is wrong
};

// One router that is online at any gateway. Texts that are not known are empty, times that are not known 0.
struct OnlineRouter {
    std::string serial;
    std::string name;    // from the directory
    std::string model;   // from the directory, too
    std::string version; // of its agent
    std::string mac;
    std::string address; // its IPv4 address and port
    std::string gateway; // the id of the gateway that has its session
    int64_t since = 0;   // seconds since the epoch
    std::string lastReport;
    int64_t lastReportTime = 0; // seconds since the epoch
};

class View
{
  public:
    virtual ~View() = default;

    // Not good: no NATS, or the end is ordered. A load balancer sends no router here then.
    virtual Health State() = 0;

    // All routers of the fleet that are online, in any order.
    virtual std::vector<OnlineRouter> Online() = 0;

    // One router, online or not: nothing if the directory has no such serial. Offline: `since` is 0.
    virtual std::optional<OnlineRouter> Router(const std::string &serial) = 0;

    // Its newest report of each name, as they stand in the stream, newest first.
    virtual std::vector<Json> LastReports(const std::string &serial) = 0;

    // Puts a question as plug.<serial>.ask.<function> does, and waits for its reply; a fault is a reply, too. Both are
    // names: letters, digits, `-` and `_`.
    virtual Json Ask(const std::string &serial, const std::string &function, const Json &parameters) = 0;
};

} // namespace gateway
