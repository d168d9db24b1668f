// Bus.h - the connection to the message system: publish, subscribe, request, streams and buckets.
//
// A connection that is lost is made again, for as long as it takes; subscriptions come back with it, and what is
// published meanwhile waits in a bounded buffer. Handlers run on the io_context that their subscriber names, never on
// the library's own threads.
//
// State: one connection. Threads: any; EnsureStream, EnsureBucket and Request wait and belong to the start or to the
// command line.
#pragma once

#include <asio/io_context.hpp>
#include <atomic>
#include <chrono>
#include <deque>
#include <functional>
#include <future>
#include <map>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "gateway/bus/Nats.h"

namespace gateway
{

struct BusOptions {
    std::vector<std::string> servers = {"nats://127.0.0.1:4222"};
    std::string credentials; // file with a user's JWT and seed; empty: none
    std::string ca;          // file with certificates to trust; empty: the system's, when TLS is asked for
    std::string certificate; // own certificate chain, with `key`; empty: none
    std::string key;
    bool tls = false;
    std::string name = "plug-gateway"; // what the server's own monitoring shows
    int replicas = 1;                  // of streams and buckets that this program makes
};

struct BusError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct Message {
    std::string subject;
    std::string reply; // empty: nobody waits for one
    std::string data;
};
using MessageHandler = std::function<void(Message)>;

class Bus;

// A subscription ends with this object; messages that are already on their way to the io_context still arrive there.
class Subscription
{
  public:
    // Throws BusError. With a `queue`, each message goes to one member of that name only.
    Subscription(Bus &bus, const std::string &subject, const std::string &queue, asio::io_context &context,
                 MessageHandler handler);
    ~Subscription();
    Subscription(const Subscription &) = delete;
    Subscription &operator=(const Subscription &) = delete;

  private:
    Bus &bus_;
    natsSubscription *own_ = nullptr;
    std::future<void> ended_; // when the library calls back no more
};

class Bus
{
  public:
    explicit Bus(const BusOptions &options); // connects; throws BusError when no server answers
    ~Bus();
    Bus(const Bus &) = delete;
    Bus &operator=(const Bus &) = delete;

    // False when the connection is down and the buffer full, or the message larger than the servers take.
    bool Publish(const std::string &subject, const std::string &data, const std::string &reply = {},
                 const std::map<std::string, std::string> &headers = {});

    std::unique_ptr<Subscription> Subscribe(const std::string &subject, const std::string &queue,
                                            asio::io_context &context, MessageHandler handler)
    {
        return std::make_unique<Subscription>(*this, subject, queue, context, std::move(handler));
    }

    // The answer; nothing when none came within `milliseconds`.
    std::optional<std::string> Request(const std::string &subject, const std::string &data, int milliseconds);

    // A subject for answers that nobody else has.
    std::string NewInbox() const;

    // Makes what is missing; what is there stays as its operator has set it. They wait 20 seconds for servers that have
    // only just started, then throw BusError.
    void EnsureStream(const std::string &name, const std::string &subjects, int64_t maxAgeSeconds);
    void EnsureBucket(const std::string &name, int64_t expirySeconds);

    bool Connected() const { return natsConnection_Status(connection_.get()) == NATS_CONN_STATUS_CONNECTED; }
    // How often the connection was made again.
    uint64_t Reconnects() const { return reconnects_; }
    natsConnection *Connection() const { return connection_.get(); }
    // Ends a subscription, and frees it a while later: the library's thread that reads may still be at work with it, and
    // libnats 3.4 does not hold it for that.
    void Retire(natsSubscription *subscription);

  private:
    const int replicas_;
    std::atomic<uint64_t> reconnects_{0};
    NatsPointer<natsConnection, natsConnection_Destroy> connection_;
    NatsPointer<jsCtx, jsCtx_Destroy> jetStream_;
    std::mutex lock_;
    std::deque<
        std::pair<std::chrono::steady_clock::time_point, NatsPointer<natsSubscription, natsSubscription_Destroy>>>
        retired_; // and when; they go before the connection
};

} // namespace gateway
