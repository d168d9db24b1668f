// The clock and all waiting, in place of os/posix/OsClock.cpp and os/posix/OsWait.cpp.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <list>
#include <poll.h>
#include <string>

#include "os/OsClock.h"
#include "os/OsWait.h"
#include "tests/fakes/FakeOs.h"

namespace
{

struct Sleeper {
    OsWaiter *waiter;
    int64_t deadline;
    uint64_t number; // tells this wait from every other; its place in memory does not, for that is used again
};

pthread_mutex_t s_lock =
    PTHREAD_MUTEX_INITIALIZER; // guards what follows; taken inside a waiter's lock, never around it
pthread_cond_t s_sleepersChanged = PTHREAD_COND_INITIALIZER;
int64_t s_now;
int64_t s_wallOffset = kFakeEpoch; // seconds to add to s_now
bool s_auto;
std::function<void()> s_beforeJump; // nobody changes it while threads wait
uint64_t s_lastNumber;
std::list<Sleeper> s_sleepers; // whoever is neither due nor woken
std::deque<OsReadable> s_readable;
int s_readableTimeout;

// A death test goes on in a copy of the process that has its own thread only: there the lock must not be another's.
__attribute__((constructor)) void TakeTheLockAcrossForks()
{
    pthread_atfork([] { pthread_mutex_lock(&s_lock); }, [] { pthread_mutex_unlock(&s_lock); },
                   [] { pthread_mutex_unlock(&s_lock); });
}

// Takes every sleeper out that `leaves`, and wakes the waiters they sleep on. Without s_lock held.
template <typename Predicate>
void Release(Predicate leaves)
{
    std::list<OsWaiter *> wake;
    {
        OsGuard guard(&s_lock);
        for (auto at = s_sleepers.begin(); at != s_sleepers.end();) {
            if (leaves(*at)) {
                wake.push_back(at->waiter);
                at = s_sleepers.erase(at);
            } else {
                ++at;
            }
        }
    }
    for (OsWaiter *waiter : wake) {
        OsGuard guard(&waiter->lock);
        pthread_cond_broadcast(&waiter->changed);
    }
}

void AwaitCount(int count, bool withoutDeadlineToo)
{
    struct timespec limit;
    clock_gettime(CLOCK_REALTIME, &limit);
    limit.tv_sec += 20;
    OsGuard guard(&s_lock);
    for (;;) {
        const auto found = std::count_if(s_sleepers.begin(), s_sleepers.end(), [&](const Sleeper &sleeper) {
            return withoutDeadlineToo || sleeper.deadline != OS_FOREVER;
        });
        if (found >= count) return;
        if (pthread_cond_timedwait(&s_sleepersChanged, &s_lock, &limit) != 0) {
            fprintf(stderr, "%d threads were to wait, but only %d do\n", count, static_cast<int>(found));
            abort();
        }
    }
}

} // namespace

int64_t OsNowMs()
{
    OsGuard guard(&s_lock);
    return s_now;
}

time_t OsWallTime()
{
    OsGuard guard(&s_lock);
    return static_cast<time_t>(s_wallOffset + s_now / 1000);
}

void OsLocalTime(time_t when, struct tm *out)
{
    localtime_r(&when, out); // in the zone of FakeTimeZone()
}

time_t OsLocalMidnight(time_t when)
{
    return when - when % 86400;
}

OsWaiter::OsWaiter()
{
    pthread_mutex_init(&lock, nullptr);
    pthread_cond_init(&changed, nullptr);
}

// Without s_lock held: what it calls may ask for the time.
static void BeforeJump(int64_t deadlineMs)
{
    std::function<void()> what;
    {
        OsGuard guard(&s_lock);
        if (s_auto && deadlineMs != OS_FOREVER && s_now < deadlineMs) what = s_beforeJump;
    }
    if (what) what();
}

bool OsWaitUntil(OsWaiter *waiter, int64_t deadlineMs)
{
    BeforeJump(deadlineMs);
    uint64_t self;
    {
        OsGuard guard(&s_lock);
        if (s_auto && deadlineMs != OS_FOREVER) s_now = std::max(s_now, deadlineMs);
        if (s_now >= deadlineMs) return false;
        self = ++s_lastNumber;
        s_sleepers.push_back({waiter, deadlineMs, self});
        pthread_cond_broadcast(&s_sleepersChanged);
    }
    for (;;) {
        pthread_cond_wait(&waiter->changed, &waiter->lock);
        OsGuard guard(&s_lock);
        // Others may share the waiter and it was theirs to wake: then nobody has taken us out, and we stay, so that a
        // test never finds a thread missing that only looks around.
        const bool stays = std::any_of(s_sleepers.begin(), s_sleepers.end(),
                                       [self](const Sleeper &sleeper) { return sleeper.number == self; });
        if (!stays) return s_now < deadlineMs;
    }
}

void OsWakeAll(OsWaiter *waiter)
{
    {
        OsGuard guard(&s_lock);
        s_sleepers.remove_if([waiter](const Sleeper &sleeper) { return sleeper.waiter == waiter; });
    }
    pthread_cond_broadcast(&waiter->changed);
}

void OsSleepMs(int64_t milliseconds)
{
    static OsWaiter pause;
    const int64_t deadline = OsNowMs() + milliseconds;
    OsGuard guard(&pause);
    while (OsWaitUntil(&pause, deadline)) {
    }
}

OsReadable OsWaitReadable(int fd, int timeoutMs)
{
    {
        OsGuard guard(&s_lock);
        s_readableTimeout = timeoutMs;
        if (!s_readable.empty()) {
            const OsReadable result = s_readable.front();
            s_readable.pop_front();
            return result;
        }
    }
    struct pollfd watched = {fd, POLLIN, 0};
    const int ready = poll(&watched, 1, timeoutMs);
    if (ready < 0 || (watched.revents & POLLNVAL)) return OS_WAIT_FAILED;
    return ready == 0 ? OS_TIMED_OUT : OS_READABLE;
}

void FakeClockAdvanceMs(int64_t milliseconds)
{
    const int64_t target = OsNowMs() + milliseconds;
    for (;;) {
        {
            OsGuard guard(&s_lock);
            int64_t next = target;
            for (const Sleeper &sleeper : s_sleepers) next = std::min(next, sleeper.deadline);
            s_now = std::max(s_now, next);
        }
        Release([](const Sleeper &sleeper) { return sleeper.deadline <= s_now; });
        if (OsNowMs() >= target) return;
    }
}

void FakeClockAwaitSleepers(int count)
{
    AwaitCount(count, false);
}

void FakeClockAwaitWaiters(int count)
{
    AwaitCount(count, true);
}

int FakeClockWaiters()
{
    OsGuard guard(&s_lock);
    return static_cast<int>(s_sleepers.size());
}

int FakeClockWaits()
{
    OsGuard guard(&s_lock);
    return static_cast<int>(s_lastNumber);
}

void FakeClockAuto(bool on)
{
    OsGuard guard(&s_lock);
    s_auto = on;
}

void FakeClockBeforeJump(std::function<void()> what)
{
    OsGuard guard(&s_lock);
    s_beforeJump = std::move(what);
}

int64_t FakeClockNextDeadlineMs()
{
    OsGuard guard(&s_lock);
    int64_t next = OS_FOREVER;
    for (const Sleeper &sleeper : s_sleepers) next = std::min(next, sleeper.deadline);
    return next == OS_FOREVER ? -1 : next - s_now;
}

void FakeClockSetWallTime(time_t when)
{
    OsGuard guard(&s_lock);
    s_wallOffset = when - s_now / 1000;
}

void FakeTimeZone(const char *zone)
{
    static std::string present;
    if (zone == present) return; // threads may be looking at the environment
    present = zone;
    setenv("TZ", zone, 1);
    tzset();
}

void FakeReadableResults(std::initializer_list<OsReadable> results)
{
    OsGuard guard(&s_lock);
    s_readable.assign(results);
}

int FakeReadableTimeoutMs()
{
    OsGuard guard(&s_lock);
    return s_readableTimeout;
}

void FakeClockReset()
{
    FakeTimeZone("UTC0");
    OsGuard guard(&s_lock);
    s_now = 0;
    s_wallOffset = kFakeEpoch;
    s_auto = false;
    s_beforeJump = nullptr;
    s_readable.clear();
}
