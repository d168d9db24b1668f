#include "sdk/sim/SimClock.h"

#include <cerrno>
#include <ctime>

// clock_gettime and nothing else, so that a preloaded clock that runs faster carries the whole household along.
static int64_t Milliseconds(clockid_t clock)
{
    struct timespec now = {};
    clock_gettime(clock, &now);
    return int64_t(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

int64_t SimNowMs()
{
    return Milliseconds(CLOCK_MONOTONIC);
}

int64_t SimWallMs()
{
    return Milliseconds(CLOCK_REALTIME);
}

void SimDelayMs(uint32_t milliseconds)
{
    struct timespec left = {time_t(milliseconds / 1000), long(milliseconds % 1000) * 1000000};
    while (nanosleep(&left, &left) != 0 && errno == EINTR) {
    }
}
