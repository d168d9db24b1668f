// Loop.h - one poll(2) loop: descriptors that become ready, and timers. Everything else runs from here.
// State: one Loop object. Threads: one.
#pragma once

#include <cstdint>
#include <functional>
#include <map>

namespace sim
{

class Loop
{
  public:
    // Milliseconds on the monotonic clock.
    static int64_t NowMs();

    // Calls `ready` with the returned events whenever poll finds one of `events`, errors or a hang-up on `fd`.
    // Watching a descriptor again changes what it waits for.
    void Watch(int fd, short events, std::function<void(short)> ready);
    void Unwatch(int fd) { watched_.erase(fd); }

    // Calls `due` once, `delayMs` from now. The returned number cancels it.
    uint64_t After(int64_t delayMs, std::function<void()> due);
    void Cancel(uint64_t timer) { timers_.erase(timer); }

    // Runs until Stop() is called; returns at once if it was called before.
    void Run();
    void Stop() { stopped_ = true; }

    // Waits once, for a descriptor or a timer, and calls what has become due. False when Run() would return.
    bool RunOnce();

  private:
    struct Watched {
        short events;
        std::function<void(short)> ready;
    };
    struct Timer {
        int64_t dueMs;
        std::function<void()> due;
    };
    int PollTimeout() const;
    void RunTimers();

    std::map<int, Watched> watched_;
    std::map<uint64_t, Timer> timers_; // in the order of their making
    uint64_t nextTimer_ = 1;
    bool stopped_ = false;
};

} // namespace sim
