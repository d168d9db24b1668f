// RouterFleet.h - thousands of synthetic routers in one thread: real connections, frames and keys, and the agent's
// patience. They register, log in, report, send heartbeats and answer questions.
//
// After a lost session, or a failed attempt, each waits as an agent under its supervisor does: a second before the next
// attempt, ten seconds at most for an answer; after twelve failed registrations at both of its servers (here they are one)
// the process ends, and the next one begins 60 to 90 seconds later.
//
// State: one thread with all connections. Threads: any may call.
#pragma once

#include <array>
#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>
#include <atomic>
#include <chrono>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "tests/fleet/RouterFrames.h"

typedef std::chrono::steady_clock FleetClock;

struct FleetOptions {
    unsigned routers = 0;
    std::string registerAt; // address:port
    double interval = 60;   // seconds between a router's heartbeats, whatever its login tells
    std::string key = {};   // of all of them; empty: each has its own
};

// Since the start, of all routers.
struct FleetCounts {
    std::atomic<uint64_t> registered{0}, loggedIn{0};
    std::atomic<uint64_t> refused{0};     // connections closed, or answers without a body, instead of a registration
    std::atomic<uint64_t> unreachable{0}; // connections that could not be made
    std::atomic<uint64_t> unanswered{0};  // registrations and logins without an answer in time
    std::atomic<uint64_t> loginsFailed{0};
    std::atomic<uint64_t> lost{0};   // sessions that the other end has closed
    std::atomic<uint64_t> gaveUp{0}; // processes that have ended after twelve attempts
    std::atomic<uint64_t> heartbeats{0}, heartbeatsAnswered{0};
    std::atomic<uint64_t> asked{0};
    std::atomic<uint64_t> reports{0}, reportsAcknowledged{0};
};

class SyntheticRouter;

class RouterFleet
{
  public:
    explicit RouterFleet(const FleetOptions &options);
    ~RouterFleet(); // closes all connections
    RouterFleet(const RouterFleet &) = delete;
    RouterFleet &operator=(const RouterFleet &) = delete;

    // Logs all of them in for the first time, without the agent's pauses: never more than `atOnce` are on their way.
    void LogIn(unsigned atOnce);
    // Their next connections come from so many addresses; 0, as at the start: from as many as there are routers.
    void ComeFrom(unsigned addresses);
    // Lists of devices, of all routers together; besides the one report that each login sends.
    void Report(double perSecond) { reportRate_ = perSecond; }
    // Sessions that routers end, of all together; they come back.
    void EndSessions(double perSecond) { endRate_ = perSecond; }

    unsigned Size() const { return options_.routers; }
    size_t Online() const { return online_; }
    const FleetCounts &Counts() const { return counts_; }
    // When each router has logged in last, in ascending order; of those only that have since `begin`.
    std::vector<FleetClock::time_point> LoginsSince(FleetClock::time_point begin) const;

  private:
    friend class SyntheticRouter;
    void CameOnline(bool first);
    void Pace();
    SyntheticRouter &AnyRouter();

    const FleetOptions options_;
    protocol::Address registerAt_;
    FleetCounts counts_;
    std::atomic<size_t> online_{0};
    std::atomic<double> reportRate_{0}, endRate_{0};
    asio::io_context context_{1};
    asio::executor_work_guard<asio::io_context::executor_type> work_{context_.get_executor()};
    asio::steady_timer tick_{context_};
    FleetClock::time_point ticked_;
    double reportsDue_ = 0, endsDue_ = 0;
    size_t started_ = 0;
    std::array<uint8_t, 16384> scratch_;
    std::minstd_rand random_{1};
    std::vector<std::unique_ptr<SyntheticRouter>> routers_;
    std::thread thread_; // last: it uses the others
};
