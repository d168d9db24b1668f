// OsWait.h - how a thread of the agent waits: every wait ends at a deadline or when somebody wakes it.
// State:    none; a waiter belongs to the module that declares it.
// Threads:  safe from any thread, under the locking rules stated below.
#pragma once

#include <cstdint>
#include <pthread.h>

#include "os/OsClock.h"

// A lock together with the condition "something that it guards has changed".
struct OsWaiter {
    OsWaiter(); // the condition follows the clock of OsNowMs(), so a jump of the date moves no deadline
    OsWaiter(const OsWaiter &) = delete;
    OsWaiter &operator=(const OsWaiter &) = delete;

    pthread_mutex_t lock;
    pthread_cond_t changed;
};

// Holds a lock for the length of a block.
class OsGuard
{
  public:
    explicit OsGuard(pthread_mutex_t *lock) : mLock(lock) { pthread_mutex_lock(mLock); }
    explicit OsGuard(OsWaiter *waiter) : OsGuard(&waiter->lock) {}
    ~OsGuard() { pthread_mutex_unlock(mLock); }
    OsGuard(const OsGuard &) = delete;
    OsGuard &operator=(const OsGuard &) = delete;

  private:
    pthread_mutex_t *mLock;
};

constexpr int64_t OS_FOREVER = INT64_MAX; // the deadline of a wait that only a wake-up ends

// Waits for OsWakeAll() on `waiter`; the caller holds waiter->lock, which is free while it waits.
// deadlineMs: a time of OsNowMs(), or OS_FOREVER. Returns false once the deadline has passed, true otherwise;
// true promises nothing (wake-ups may be spurious), so callers test their condition in a loop.
bool OsWaitUntil(OsWaiter *waiter, int64_t deadlineMs);

// Wakes every thread in OsWaitUntil() on `waiter`. Change what the lock guards first, under the lock.
void OsWakeAll(OsWaiter *waiter);

// The loop of OsWaitFor(), once for all its users: the compiler would copy it into each.
__attribute__((noinline)) inline bool OsWaitForCall(OsWaiter *waiter, int64_t milliseconds,
                                                    bool (*reached)(const void *), const void *argument)
{
    const int64_t deadline = milliseconds == OS_FOREVER ? OS_FOREVER : OsNowMs() + milliseconds;
    OsGuard guard(waiter);
    while (!reached(argument))
        if (!OsWaitUntil(waiter, deadline)) return reached(argument);
    return true;
}

// Waits until `reached()` is true, at most `milliseconds` (OS_FOREVER for no limit), and returns whether it is. Takes
// waiter->lock, which the caller does not hold: `reached` is called with it, at first and after each wake-up, and once
// more at the deadline.
template <typename Reached>
bool OsWaitFor(OsWaiter *waiter, int64_t milliseconds, const Reached &reached)
{
    const auto call = [](const void *procedure) { return (*static_cast<const Reached *>(procedure))(); };
    return OsWaitForCall(waiter, milliseconds, call, &reached);
}

// A pause that nothing ends early. For short pauses only; anything longer waits on an OsWaiter.
void OsSleepMs(int64_t milliseconds);

enum OsReadable { OS_READABLE = 1, OS_TIMED_OUT = 0, OS_WAIT_FAILED = -1, OS_OTHER_EVENT = -2 };

// Waits until `fd` has bytes to read, is at its end or has failed (all OS_READABLE: the read tells which).
// timeoutMs: milliseconds, or -1 for no limit. OS_WAIT_FAILED when the wait itself failed, a closed descriptor
// included; OS_OTHER_EVENT when it returned although the descriptor is not ready.
// Another thread ends the wait with shutdown(fd, SHUT_RD).
[[nodiscard]] OsReadable OsWaitReadable(int fd, int timeoutMs);
