// Stored.h - publishing what must not be lost: each message is tried again until a stream has it or its time is over.
//
// A message that may have arrived is sent again with the same identification, which the stream keeps once. Buckets are
// streams, too: Put and Delete go the same way and wait for nobody.
//
// State: the messages under way, at most as many as told. Threads: any; completions run on the io_context given.
#pragma once

#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>
#include <chrono>
#include <thread>
#include <unordered_map>

#include "gateway/bus/Bus.h"

namespace gateway
{

struct StoredLimits {
    size_t outstanding = 20000;
    std::chrono::milliseconds retry{1000}; // until the same message is sent again
    std::chrono::milliseconds giveUp{10000};
};

class Stored
{
  public:
    // The number of the message in its stream; nothing when it could not be stored in time. It may have been stored all
    // the same: nobody has said so.
    using Done = std::function<void(std::optional<uint64_t> sequence)>;

    Stored(Bus &bus, const StoredLimits &limits);
    ~Stored(); // completions that are still to come do not

    // `id` makes it one message in its stream, however often it arrives. Without room, `done` is told at once.
    void Publish(const std::string &subject, const std::string &data, const std::string &id, asio::io_context &context,
                 Done done);

    // Writes an entry of a bucket.
    void Put(const std::string &bucket, const std::string &key, const std::string &value, asio::io_context &context,
             Done done);
    // Removes it. With a `sequence` that Put was told: only while it is the latest of its key.
    void Delete(const std::string &bucket, const std::string &key, uint64_t sequence, asio::io_context &context,
                Done done);

    size_t Outstanding() const { return outstanding_; }

  private:
    using Clock = std::chrono::steady_clock;
    struct Pending {
        std::string subject, data;
        std::map<std::string, std::string> headers;
        asio::io_context *context = nullptr;
        Done done;
        Clock::time_point next, end;
    };
    void Add(Pending pending);
    void Send(uint64_t number, const Pending &pending);
    void Answered(const Message &answer);
    void Repeat();
    static void Finish(Pending *pending, std::optional<uint64_t> sequence);

    Bus &bus_;
    const StoredLimits limits_;
    std::atomic<size_t> outstanding_{0};
    // What follows belongs to the thread: nobody else ever waits for the connection.
    std::string inbox_; // answers arrive below it
    std::unordered_map<uint64_t, Pending> pending_;
    uint64_t last_ = 0;
    asio::io_context own_;
    asio::executor_work_guard<asio::io_context::executor_type> work_{own_.get_executor()};
    asio::steady_timer timer_{own_};
    std::unique_ptr<Subscription> answers_;
    std::thread thread_;
};

} // namespace gateway
