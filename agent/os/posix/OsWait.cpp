#include "os/OsWait.h"

#include <cerrno>
#include <ctime>
#include <poll.h>

#include "os/OsClock.h"
#include "os/OsDivide.h"

OsWaiter::OsWaiter()
{
    pthread_mutex_init(&lock, nullptr);
    pthread_condattr_t attributes;
    pthread_condattr_init(&attributes);
    pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
    pthread_cond_init(&changed, &attributes);
    pthread_condattr_destroy(&attributes);
}

// A time before the beginning is the beginning.
static struct timespec Timespec(int64_t milliseconds)
{
    const uint64_t all = milliseconds > 0 ? static_cast<uint64_t>(milliseconds) : 0;
    const uint64_t seconds = OsDivide(all, 1000);
    return {static_cast<time_t>(seconds), static_cast<long>(all - seconds * 1000) * 1000000};
}

bool OsWaitUntil(OsWaiter *waiter, int64_t deadlineMs)
{
    if (deadlineMs == OS_FOREVER) {
        pthread_cond_wait(&waiter->changed, &waiter->lock);
        return true;
    }
    const struct timespec deadline = Timespec(deadlineMs);
    return pthread_cond_timedwait(&waiter->changed, &waiter->lock, &deadline) != ETIMEDOUT;
}

void OsWakeAll(OsWaiter *waiter)
{
    pthread_cond_broadcast(&waiter->changed);
}

void OsSleepMs(int64_t milliseconds)
{
    struct timespec left = Timespec(milliseconds);
    while (nanosleep(&left, &left) != 0 && errno == EINTR) {
    }
}

OsReadable OsWaitReadable(int fd, int timeoutMs)
{
    struct pollfd watched = {fd, POLLIN, 0};
    const int ready = poll(&watched, 1, timeoutMs);
    if (ready < 0 || (watched.revents & POLLNVAL)) return OS_WAIT_FAILED;
    if (ready == 0) return OS_TIMED_OUT;
    return (watched.revents & (POLLIN | POLLHUP | POLLERR)) ? OS_READABLE : OS_OTHER_EVENT;
}
