// Watch.h - what a bucket holds, and what changes in it.
//
// Now and then, and after every lost connection, the whole bucket is read again: entries that have expired leave no
// trace, and a server that dies may take changes along. Only what differs then is told.
//
// State: the keys that are known with their revisions, and one thread. Threads: any; the handler runs on the io_context given.
#pragma once

#include <chrono>
#include <map>
#include <thread>

#include "gateway/bus/Bus.h"

namespace gateway
{

struct Change {
    std::string key;                  // empty: the bucket has been read for the first time
    std::optional<std::string> value; // nothing: the entry is gone
    uint64_t revision = 0;            // of this value: higher ones are newer; 0: it has expired
};

class Watch
{
  public:
    using Handler = std::function<void(const Change &)>;

    Watch(Bus &bus, const std::string &bucket, asio::io_context &context, Handler handler,
          std::chrono::seconds again = std::chrono::minutes(5));
    ~Watch();

  private:
    struct Known {
        uint64_t revision = 0;
        bool there = false;
    };

    class Reader;

    void Run();
    void Pass(); // reads the whole bucket, then follows it until it is to be read again
    void Tell(Change change);

    Bus &bus_;
    const std::string bucket_;
    asio::io_context &context_;
    const Handler handler_;
    const std::chrono::seconds again_;
    std::map<std::string, Known> known_; // what the handler was told last; of the thread
    bool first_ = true;
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

// Reads a whole bucket once, on this thread; throws BusError when that takes longer than a minute.
void ReadBucket(Bus &bus, const std::string &bucket, const Watch::Handler &handler);

} // namespace gateway
