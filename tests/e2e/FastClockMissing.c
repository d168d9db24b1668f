// FastClockMissing.c - calls of FastClock.h that musl has not, made of those that it has, for programs that have the clock
// inside. A wait on another clock than the call's own ends after the same duration; a change of the date meanwhile moves
// it, which no test does. glibc has them all.
#include "FastClock.h"

#ifndef __GLIBC__
#include <errno.h>

// The linker leads what programs call to the fast clock, and these to the C library.
extern int __real_clock_gettime(clockid_t, struct timespec *);
extern int __real_pthread_cond_timedwait(pthread_cond_t *, pthread_mutex_t *, const struct timespec *);
extern int __real_pthread_mutex_timedlock(pthread_mutex_t *, const struct timespec *);
extern int __real_sem_timedwait(sem_t *, const struct timespec *);

// The moment on the clock `own` that is as far away as `deadline` is on `clock`.
static struct timespec Elsewhere(clockid_t own, clockid_t clock, const struct timespec *deadline)
{
    struct timespec there, here;
    __real_clock_gettime(clock, &there);
    __real_clock_gettime(own, &here);
    const Wide at = ToNs(deadline) - ToNs(&there) + ToNs(&here);
    return own == clock ? *deadline : FromNs(at > 0 ? at : 0);
}

int pthread_cond_clockwait(pthread_cond_t *cond, pthread_mutex_t *mutex, clockid_t clock,
                           const struct timespec *deadline)
{
    const struct timespec own = Elsewhere(IsMonotonic(cond) ? CLOCK_MONOTONIC : CLOCK_REALTIME, clock, deadline);
    return __real_pthread_cond_timedwait(cond, mutex, &own);
}

int pthread_mutex_clocklock(pthread_mutex_t *mutex, clockid_t clock, const struct timespec *deadline)
{
    const struct timespec own = Elsewhere(CLOCK_REALTIME, clock, deadline);
    return __real_pthread_mutex_timedlock(mutex, &own);
}

int sem_clockwait(sem_t *sem, clockid_t clock, const struct timespec *deadline)
{
    const struct timespec own = Elsewhere(CLOCK_REALTIME, clock, deadline);
    return __real_sem_timedwait(sem, &own);
}

// As on a kernel that has not got it.
int epoll_pwait2(int epoll, struct epoll_event *events, int room, const struct timespec *timeout, const sigset_t *mask)
{
    (void)epoll, (void)events, (void)room, (void)timeout, (void)mask;
    errno = ENOSYS;
    return -1;
}
#endif
