// FastClockCalls.c - the calls of the C library that take or tell a time, in the time of FastClock.h.
#include "FastClock.h"

#include <errno.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <string.h>
#include <sys/syscall.h>
#include <unistd.h>

#define EXPORT __attribute__((visibility("default")))

// --- reading the clock

EXPORT int clock_gettime(clockid_t clock, struct timespec *now)
{
    clockid_t source;
    Wide offset;
    if (IsInSetup()) return (int)syscall(SYS_clock_gettime, clock, now); // an allocator's or sanitizer's doing
    if (!IsFast() || !FindClock(clock, &source, &offset)) return real.clock_gettime(clock, now);
    *now = FromNs(FastNow(source, offset));
    return 0;
}

EXPORT time_t time(time_t *out)
{
    if (!IsFast()) return real.time(out);
    const time_t now = (time_t)FloorDiv(FastRealtime(), NS_PER_S);
    if (out) *out = now;
    return now;
}

EXPORT int gettimeofday(struct timeval *restrict out, void *restrict zone)
{
    if (!IsFast()) return real.gettimeofday(out, zone);
    if (zone) memset(zone, 0, sizeof(struct timezone));
    const struct timespec now = FromNs(FastRealtime());
    *out = (struct timeval){.tv_sec = now.tv_sec, .tv_usec = now.tv_nsec / 1000};
    return 0;
}

// --- sleeping

EXPORT int clock_nanosleep(clockid_t clock, int flags, const struct timespec *request, struct timespec *left)
{
    struct timespec slow;
    clockid_t source;
    Wide offset;
    if (!IsFast() || !IsValid(request) || !FindClock(clock, &source, &offset))
        return real.clock_nanosleep(clock, flags, request, left);
    if (request->tv_sec < 0) return EINVAL;
    if (flags & TIMER_ABSTIME) {
        RealDeadline(clock, request, &slow);
        return real.clock_nanosleep(CLOCK_MONOTONIC, flags, &slow, NULL);
    }
    struct timespec realLeft;
    slow = FromNs(RealDuration(ToNs(request)));
    const int error = real.clock_nanosleep(CLOCK_MONOTONIC, 0, &slow, &realLeft);
    if (error == EINTR && left) {
        const Wide fastLeft = FastDuration(ToNs(&realLeft)), whole = ToNs(request);
        *left = FromNs(fastLeft < whole ? fastLeft : whole);
    }
    return error;
}

EXPORT int nanosleep(const struct timespec *request, struct timespec *left)
{
    if (!IsFast()) return real.nanosleep(request, left);
    const int error = clock_nanosleep(CLOCK_MONOTONIC, 0, request, left);
    if (error == 0) return 0;
    errno = error;
    return -1;
}

EXPORT unsigned sleep(unsigned seconds)
{
    if (!IsFast()) return real.sleep(seconds);
    const struct timespec request = {.tv_sec = seconds};
    struct timespec left;
    return clock_nanosleep(CLOCK_MONOTONIC, 0, &request, &left) == 0 ? 0 : (unsigned)left.tv_sec;
}

EXPORT int usleep(useconds_t us)
{
    if (!IsFast()) return real.usleep(us);
    const struct timespec request = FromNs((Wide)us * 1000);
    return nanosleep(&request, NULL);
}

// --- waiting for descriptors
// All of them wait in nanoseconds: a thousandth of a poll's milliseconds would be nothing but rounding.

EXPORT int ppoll(struct pollfd *fds, nfds_t count, const struct timespec *timeout, const sigset_t *mask)
{
    if (!IsFast() || !timeout || !IsValid(timeout) || timeout->tv_sec < 0) return real.ppoll(fds, count, timeout, mask);
    const struct timespec slow = FromNs(RealDuration(ToNs(timeout)));
    return real.ppoll(fds, count, &slow, mask);
}

EXPORT int poll(struct pollfd *fds, nfds_t count, int ms)
{
    if (!IsFast() || ms <= 0) return real.poll(fds, count, ms);
    const struct timespec timeout = FromNs((Wide)ms * 1000000);
    return ppoll(fds, count, &timeout, NULL);
}

#ifdef __GLIBC__
// What the two calls above become in programs compiled with _FORTIFY_SOURCE.
extern void __chk_fail(void) __attribute__((noreturn));
EXPORT int __poll_chk(struct pollfd *fds, nfds_t count, int ms, size_t size)
{
    if (size / sizeof *fds < count) __chk_fail();
    return poll(fds, count, ms);
}

EXPORT int __ppoll_chk(struct pollfd *fds, nfds_t count, const struct timespec *timeout, const sigset_t *mask,
                       size_t size)
{
    if (size / sizeof *fds < count) __chk_fail();
    return ppoll(fds, count, timeout, mask);
}
#endif

EXPORT int pselect(int count, fd_set *restrict in, fd_set *restrict out, fd_set *restrict bad,
                   const struct timespec *restrict timeout, const sigset_t *restrict mask)
{
    if (!IsFast() || !timeout || !IsValid(timeout) || timeout->tv_sec < 0)
        return real.pselect(count, in, out, bad, timeout, mask);
    const struct timespec slow = FromNs(RealDuration(ToNs(timeout)));
    return real.pselect(count, in, out, bad, &slow, mask);
}

// Linux tells the caller of select() what is left of the timeout, and some programs count on it.
EXPORT int select(int count, fd_set *restrict in, fd_set *restrict out, fd_set *restrict bad,
                  struct timeval *restrict timeout)
{
    if (!IsFast() || !timeout || timeout->tv_sec < 0 || timeout->tv_usec < 0)
        return real.select(count, in, out, bad, timeout);
    const Wide whole = (Wide)timeout->tv_sec * NS_PER_S + (Wide)timeout->tv_usec * 1000;
    const struct timespec start = FromNs(RealDuration(whole > INT64_MAX ? INT64_MAX : whole));
    struct timespec before, after;
    real.clock_gettime(CLOCK_MONOTONIC, &before);
    const int ready = real.pselect(count, in, out, bad, &start, NULL);
    const int error = errno;
    real.clock_gettime(CLOCK_MONOTONIC, &after);
    const Wide left = whole - FastDuration(ToNs(&after) - ToNs(&before));
    const struct timespec rest = FromNs(left > 0 && ready != 0 ? left : 0);
    *timeout = (struct timeval){.tv_sec = rest.tv_sec, .tv_usec = rest.tv_nsec / 1000};
    errno = error;
    return ready;
}

EXPORT int epoll_pwait2(int epoll, struct epoll_event *events, int room, const struct timespec *timeout,
                        const sigset_t *mask)
{
    if (!IsFast() || !timeout || !IsValid(timeout) || timeout->tv_sec < 0)
        return real.epoll_pwait2(epoll, events, room, timeout, mask);
    const struct timespec slow = FromNs(RealDuration(ToNs(timeout)));
    return real.epoll_pwait2(epoll, events, room, &slow, mask);
}

EXPORT int epoll_pwait(int epoll, struct epoll_event *events, int room, int ms, const sigset_t *mask)
{
    if (!IsFast() || ms <= 0) return real.epoll_pwait(epoll, events, room, ms, mask);
    const struct timespec timeout = FromNs((Wide)ms * 1000000);
    const int before = errno;
    const int ready = epoll_pwait2(epoll, events, room, &timeout, mask);
    if (ready >= 0 || errno != ENOSYS) return ready;
    errno = before; // a kernel before 5.11: whole milliseconds have to do
    return real.epoll_pwait(epoll, events, room, (int)CeilDiv(RealDuration(ToNs(&timeout)), 1000000), mask);
}

EXPORT int epoll_wait(int epoll, struct epoll_event *events, int room, int ms)
{
    return IsFast() ? epoll_pwait(epoll, events, room, ms, NULL) : real.epoll_wait(epoll, events, room, ms);
}

// --- time-outs that the kernel keeps

EXPORT int setsockopt(int fd, int level, int option, const void *value, socklen_t size)
{
    if (!IsFast() || level != IPPROTO_TCP || option != TCP_USER_TIMEOUT || size != sizeof(int))
        return real.setsockopt(fd, level, option, value, size);
    int ms;
    memcpy(&ms, value, sizeof ms);
    if (ms > 0) ms = (int)CeilDiv(RealDuration((Wide)ms * 1000000), 1000000);
    return real.setsockopt(fd, level, option, &ms, sizeof ms);
}

// --- waiting for other threads

EXPORT int pthread_cond_clockwait(pthread_cond_t *cond, pthread_mutex_t *mutex, clockid_t clock,
                                  const struct timespec *deadline)
{
    struct timespec slow;
    if (!IsFast() || !RealDeadline(clock, deadline, &slow))
        return real.pthread_cond_clockwait(cond, mutex, clock, deadline);
    return real.pthread_cond_clockwait(cond, mutex, CLOCK_MONOTONIC, &slow);
}

EXPORT int pthread_cond_timedwait(pthread_cond_t *restrict cond, pthread_mutex_t *restrict mutex,
                                  const struct timespec *restrict deadline)
{
    if (!IsFast()) return real.pthread_cond_timedwait(cond, mutex, deadline);
    return pthread_cond_clockwait(cond, mutex, IsMonotonic(cond) ? CLOCK_MONOTONIC : CLOCK_REALTIME, deadline);
}

EXPORT int pthread_mutex_clocklock(pthread_mutex_t *mutex, clockid_t clock, const struct timespec *deadline)
{
    struct timespec slow;
    if (!IsFast() || !RealDeadline(clock, deadline, &slow)) return real.pthread_mutex_clocklock(mutex, clock, deadline);
    return real.pthread_mutex_clocklock(mutex, CLOCK_MONOTONIC, &slow);
}

EXPORT int pthread_mutex_timedlock(pthread_mutex_t *restrict mutex, const struct timespec *restrict deadline)
{
    if (!IsFast()) return real.pthread_mutex_timedlock(mutex, deadline);
    return pthread_mutex_clocklock(mutex, CLOCK_REALTIME, deadline);
}

EXPORT int sem_clockwait(sem_t *restrict sem, clockid_t clock, const struct timespec *restrict deadline)
{
    struct timespec slow;
    if (!IsFast() || !RealDeadline(clock, deadline, &slow)) return real.sem_clockwait(sem, clock, deadline);
    return real.sem_clockwait(sem, CLOCK_MONOTONIC, &slow);
}

EXPORT int sem_timedwait(sem_t *restrict sem, const struct timespec *restrict deadline)
{
    if (!IsFast()) return real.sem_timedwait(sem, deadline);
    return sem_clockwait(sem, CLOCK_REALTIME, deadline);
}
