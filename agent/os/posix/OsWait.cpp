#include "os/OsWait.h"

#include <cerrno>
#include <ctime>
#include <poll.h>

#include "os/OsClock.h"

OsWaiter::OsWaiter()
{
    pthread_mutex_init(&lock, nullptr);
    pthread_condattr_t attributes;
    pthread_condattr_init(&attributes);
    pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
    pthread_cond_init(&changed, &attributes);
    pthread_condattr_destroy(&attributes);
}

bool OsWaitUntil(OsWaiter *waiter, int64_t deadlineMs)
{
    if (deadlineMs == OS_FOREVER) {
        pthread_cond_wait(&waiter->changed, &waiter->lock);
        return true;
    }
    struct timespec deadline;
    deadline.tv_sec = static_cast<time_t>(deadlineMs / 1000);
    deadline.tv_nsec = static_cast<long>(deadlineMs % 1000) * 1000000;
    return pthread_cond_timedwait(&waiter->changed, &waiter->lock, &deadline) != ETIMEDOUT;
}

void OsWakeAll(OsWaiter *waiter)
{
    pthread_cond_broadcast(&waiter->changed);
}

void OsSleepMs(int64_t milliseconds)
{
    struct timespec left;
    left.tv_sec = static_cast<time_t>(milliseconds / 1000);
    left.tv_nsec = static_cast<long>(milliseconds % 1000) * 1000000;
    while (nanosleep(&left, &left) != 0 && errno == EINTR) {
    }
}

OsReadable OsWaitReadable(int fd, int timeoutMs)
{
    struct pollfd watched = {fd, POLLIN, 0};
    const int ready = poll(&watched, 1, timeoutMs);
    if (ready < 0 || (watched.revents & POLLNVAL)) return OS_WAIT_FAILED;
    if (ready == 0) return OS_TIMED_OUT;
    return watched.revents & (POLLIN | POLLHUP | POLLERR) ? OS_READABLE : OS_OTHER_EVENT;
}
