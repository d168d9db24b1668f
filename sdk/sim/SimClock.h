// SimClock.h - the only clock of the simulated router.
// State:    none; tests link another SimClock.cpp whose time they move themselves.
// Threads:  every procedure is safe from any thread.
#pragma once

#include <cstdint>

// Milliseconds of a clock that only runs forward. What moves (counters, the timetable) follows this one.
[[nodiscard]] int64_t SimNowMs();

// Milliseconds since 1 January 1970, UTC: the stamps of the call log and the router's own date.
[[nodiscard]] int64_t SimWallMs();

// Waits that long on the clock of SimNowMs(), for calls that are made to take long.
void SimDelayMs(uint32_t milliseconds);
