// Shard.h - one thread with its share of the connections, and what their sessions need of the gateway.
// State: its connections. Threads: its own; Ask, Close, Drain and Stop are for any.
#pragma once

#include <array>
#include <asio/ip/tcp.hpp>
#include <asio/steady_timer.hpp>
#include <atomic>
#include <ctime>
#include <memory>
#include <random>
#include <thread>
#include <unordered_map>

#include "gateway/directory/Directory.h"
#include "gateway/session/Connection.h"
#include "gateway/session/Instances.h"
#include "gateway/session/Presence.h"

namespace gateway
{

// What all shards of a gateway share.
struct Services {
    std::string gateway; // its id
    SessionSettings settings;
    size_t maxConnections = 20000;
    Counters &count;
    Bus &bus;
    Stored &stored;
    Directory &directory;
    Presence &presence;
    Instances &instances;
    AddressLimits &registrations;
    std::atomic<uint64_t> lastSession{0};
    std::atomic<int64_t> connections{0};
};

protocol::Address ToAddress(const asio::ip::tcp::endpoint &endpoint);
asio::ip::tcp::endpoint ToEndpoint(const protocol::Address &address);

class Shard : public World
{
  public:
    explicit Shard(Services &services);
    ~Shard(); // ends its connections

    // Before Start(). Several shards listen at the same address, and the system spreads connections over them. Throws
    // std::runtime_error.
    void Listen(Session::Role role, const protocol::Address &address);
    void Start();
    void Stop();

    void Ask(uint64_t session, Asked asked);
    void Close(uint64_t session, const std::string &cause);
    // Takes no connections any more, and ends the present ones one after another.
    void Drain(std::chrono::milliseconds time);

    // For its connections, on its thread.
    std::array<uint8_t, 16384> &Scratch() { return scratch_; }
    void Forget(uint64_t session);

    const SessionSettings &Settings() const override { return services_.settings; }
    Counters &Count() override { return services_.count; }
    int64_t WallSeconds() const override { return time(nullptr); }
    std::optional<Device> FindPin(const std::string &pin) override { return services_.directory.FindPin(pin); }
    bool MayRegister(const protocol::Address &peer) override;
    protocol::Address LoginServer(const std::string &serial) override;
    void Registered(const std::string &serial, const protocol::Address &peer) override;
    void Online(const Session &session) override;
    void Offline(const Session &session, const std::string &cause) override;
    void Store(const Session &session, uint64_t number, uint8_t msgType, Report report) override;

  private:
    struct Server {
        Session::Role role;
        asio::ip::tcp::acceptor acceptor;
    };
    void Accept(Server &server);
    void Tick();
    void Tell(const std::string &serial, const Json &event);
    void Tell(const Session &session, const char *event, const std::string &cause);

    Services &services_;
    asio::io_context context_{1};
    asio::steady_timer tick_{context_};
    std::vector<std::unique_ptr<Server>> servers_;
    std::unordered_map<uint64_t, std::shared_ptr<Connection>> connections_;
    std::array<uint8_t, 16384> scratch_;
    std::minstd_rand random_{std::random_device()()};
    std::thread thread_;
};

} // namespace gateway
