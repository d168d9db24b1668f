#include "os/OsClock.h"

#include <cstring>

int64_t OsNowMs()
{
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

time_t OsWallTime()
{
    return time(nullptr);
}

void OsLocalTime(time_t when, struct tm *out)
{
    if (!localtime_r(&when, out)) memset(out, 0, sizeof *out);
}
