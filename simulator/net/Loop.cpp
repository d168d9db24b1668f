#include "simulator/net/Loop.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <poll.h>
#include <vector>

namespace sim
{

int64_t Loop::NowMs()
{
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

void Loop::Watch(int fd, short events, std::function<void(short)> ready)
{
    watched_[fd] = {events, std::move(ready)};
}

uint64_t Loop::After(int64_t delayMs, std::function<void()> due)
{
    timers_[nextTimer_] = {NowMs() + delayMs, std::move(due)};
    return nextTimer_++;
}

int Loop::PollTimeout() const
{
    if (timers_.empty()) return -1;
    int64_t soonest = INT64_MAX;
    for (const auto &timer : timers_) soonest = std::min(soonest, timer.second.dueMs);
    return static_cast<int>(std::clamp<int64_t>(soonest - NowMs(), 0, 3600000));
}

void Loop::RunTimers()
{
    const int64_t now = NowMs();
    std::vector<std::pair<int64_t, uint64_t>> due;
    for (const auto &timer : timers_)
        if (timer.second.dueMs <= now) due.emplace_back(timer.second.dueMs, timer.first);
    std::sort(due.begin(), due.end());
    for (const auto &entry : due) {
        const auto timer = timers_.find(entry.second);
        if (timer == timers_.end()) continue; // cancelled by one before it
        const std::function<void()> call = std::move(timer->second.due);
        timers_.erase(timer);
        call();
    }
}

bool Loop::RunOnce()
{
    std::vector<pollfd> ready;
    for (const auto &entry : watched_) ready.push_back({entry.first, entry.second.events, 0});
    const int count = poll(ready.data(), ready.size(), PollTimeout());
    if (count < 0 && errno != EINTR) return false;
    if (count > 0) {
        for (const pollfd &entry : ready) {
            if (!entry.revents || stopped_) continue;
            const auto watched = watched_.find(entry.fd);
            if (watched == watched_.end()) continue;                       // closed by one before it
            const std::function<void(short)> call = watched->second.ready; // it may unwatch itself
            call(entry.revents);
        }
    }
    if (!stopped_) RunTimers();
    return !stopped_;
}

void Loop::Run()
{
    while (!stopped_ && RunOnce()) {
    }
}

} // namespace sim
