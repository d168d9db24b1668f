// Gateway.h - one running gateway: its parts, their order, and its end.
// State: all of it. Threads: Run() the caller's; the calls of View any.
#pragma once

#include <asio/signal_set.hpp>

#include "gateway/Options.h"
#include "gateway/question/Dispatcher.h"
#include "gateway/session/Shard.h"
#include "gateway/web/View.h"

namespace gateway
{

class Gateway : public View
{
  public:
    // Connects, reads the buckets and listens. Throws std::runtime_error with what is not possible.
    Gateway(const RunOptions &options, const BusOptions &bus);
    ~Gateway() override;

    // Until SIGTERM or SIGINT and the drain that follows; a second one ends it at once.
    void Run();

    Health State() override;
    std::vector<OnlineRouter> Online() override;
    std::optional<OnlineRouter> Router(const std::string &serial) override;
    std::vector<Json> LastReports(const std::string &serial) override;
    Json Ask(const std::string &serial, const std::string &function, const Json &parameters) override;

  private:
    void ReadBuckets();
    void Listen();
    void Beat();
    void AwaitSignal();
    void AwaitDrain();
    void AskOthers();
    Json Request(const std::string &subject, const Json &data, int milliseconds);
    OnlineRouter Describe(const std::string &serial, const Elsewhere &seen) const;

    const RunOptions options_;
    const std::string id_;
    Counters count_;
    asio::io_context context_{1};
    asio::steady_timer beat_{context_}, drain_{context_};
    asio::signal_set signals_{context_, SIGTERM, SIGINT};
    std::optional<protocol::Address> login_; // as routers reach it
    Clock::time_point drainEnd_{};
    std::mutex asking_; // guards what follows
    Clock::time_point askAgain_{};
    Bus bus_;
    Directory directory_;
    Instances instances_;
    AddressLimits registrations_;
    std::vector<std::unique_ptr<Shard>> shards_; // outlive `stored_`, which tells them of reports
    Stored stored_;
    Presence presence_;
    Services services_;
    std::vector<std::unique_ptr<Watch>> watches_;
    std::optional<Dispatcher> dispatcher_;
    std::optional<Web> web_;
};

} // namespace gateway
