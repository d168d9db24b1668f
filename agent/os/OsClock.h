// OsClock.h - the only clock of the agent.
// State:    none in the real one; the tests' virtual clock keeps its own time.
// Threads:  every procedure is safe from any thread.
#pragma once

#include <cstdint>
#include <ctime>

// Milliseconds of a clock that only ever runs forward, whatever happens to the date; for intervals and deadlines.
int64_t OsNowMs();

// Seconds since the epoch: log stamps, heartbeats and everything else that shows a date.
time_t OsWallTime();

// Breaks `when` down into the local time zone. `out` is zeroed when `when` cannot be represented.
void OsLocalTime(time_t when, struct tm *out);

// The local midnight with which the day of `when` begins, also on days that are an hour longer or shorter.
time_t OsLocalMidnight(time_t when);
