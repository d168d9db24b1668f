// FastClock.h - the fast clocks, and how a deadline on one of them is a deadline on the real one (see FastClock.c).
// State: set up once, before the first call is answered. Threads: any; nothing here allocates memory or takes a lock.
#define _GNU_SOURCE
#undef _FORTIFY_SOURCE // the replaced calls must be the plain ones here
#pragma once

#include <poll.h>
#include <pthread.h>
#include <semaphore.h>
#include <signal.h>
#include <stdbool.h>
#include <stdint.h>
#include <sys/epoll.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <time.h>

#define NS_PER_S 1000000000LL

// Nanoseconds times the numerator of the factor (up to 2^40) pass 64 bits.
typedef __int128 Wide;

// The C library's own calls: one list for declaration and look-up.
#define REAL_CALLS(X)                                                                                                  \
    X(clock_gettime, int, (clockid_t, struct timespec *))                                                              \
    X(clock_nanosleep, int, (clockid_t, int, const struct timespec *, struct timespec *))                              \
    X(time, time_t, (time_t *))                                                                                        \
    X(gettimeofday, int, (struct timeval *, void *))                                                                   \
    X(nanosleep, int, (const struct timespec *, struct timespec *))                                                    \
    X(sleep, unsigned, (unsigned))                                                                                     \
    X(usleep, int, (useconds_t))                                                                                       \
    X(poll, int, (struct pollfd *, nfds_t, int))                                                                       \
    X(ppoll, int, (struct pollfd *, nfds_t, const struct timespec *, const sigset_t *))                                \
    X(select, int, (int, fd_set *, fd_set *, fd_set *, struct timeval *))                                              \
    X(pselect, int, (int, fd_set *, fd_set *, fd_set *, const struct timespec *, const sigset_t *))                    \
    X(epoll_wait, int, (int, struct epoll_event *, int, int))                                                          \
    X(epoll_pwait, int, (int, struct epoll_event *, int, int, const sigset_t *))                                       \
    X(epoll_pwait2, int, (int, struct epoll_event *, int, const struct timespec *, const sigset_t *))                  \
    X(pthread_cond_timedwait, int, (pthread_cond_t *, pthread_mutex_t *, const struct timespec *))                     \
    X(pthread_cond_clockwait, int, (pthread_cond_t *, pthread_mutex_t *, clockid_t, const struct timespec *))          \
    X(pthread_mutex_timedlock, int, (pthread_mutex_t *, const struct timespec *))                                      \
    X(pthread_mutex_clocklock, int, (pthread_mutex_t *, clockid_t, const struct timespec *))                           \
    X(sem_timedwait, int, (sem_t *, const struct timespec *))                                                          \
    X(sem_clockwait, int, (sem_t *, clockid_t, const struct timespec *))                                               \
    X(setsockopt, int, (int, int, int, const void *, socklen_t))

#define DECLARE_REAL(name, result, arguments) result(*name) arguments;
struct RealCalls {
    REAL_CALLS(DECLARE_REAL)
};
extern struct RealCalls real; // complete once IsFast() has been asked

// Whether a call is to be sped up. Other libraries' constructors may come here before ours has run.
bool IsFast(void);

// Whether this thread is setting the clocks up just now: it must not wait for that to end.
bool IsInSetup(void);

// ---- Arithmetic

Wide FloorDiv(Wide a, Wide b);
Wide CeilDiv(Wide a, Wide b);

// A deadline or timeout beyond what 64-bit nanoseconds hold (292 years) is as good as that limit.
Wide ToNs(const struct timespec *t);
struct timespec FromNs(Wide ns);
bool IsValid(const struct timespec *t);

// The least real duration in which `ns` pass on the fast clock.
Wide RealDuration(Wide ns);

// The fast time that has surely passed in `ns` of real time.
Wide FastDuration(Wide ns);

// ---- The fast clocks

// What lies between a fast clock and the anchor's monotonic time, and the real clock that drives it (a coarse
// clock stays as coarse, and as cheap, as it is). False: not a clock that we speed up.
bool FindClock(clockid_t clock, clockid_t *source, Wide *offset);

Wide FastNow(clockid_t source, Wide offset);
Wide FastRealtime(void);

// Turns a deadline on a fast clock into one on the real monotonic clock. False: leave it to the C library, which
// refuses an invalid time and knows the clocks that we do not speed up.
bool RealDeadline(clockid_t clock, const struct timespec *deadline, struct timespec *out);

// The clock that a condition variable was made for.
bool IsMonotonic(const pthread_cond_t *cond);
