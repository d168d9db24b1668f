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
    tzset(); // localtime_r() alone keeps the zone of the first call, and a router's zone may change at any time
    if (!localtime_r(&when, out)) memset(out, 0, sizeof *out);
}

time_t OsLocalMidnight(time_t when)
{
    struct tm day;
    OsLocalTime(when, &day);
    day.tm_hour = day.tm_min = day.tm_sec = 0;
    day.tm_isdst = -1; // daylight saving time may have begun or ended since midnight
    return mktime(&day);
}
