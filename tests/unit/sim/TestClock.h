// TestClock.h - the time of the simulated router under test; it stands still until it is moved.
#pragma once

#include <cstdint>

void TestClockReset(); // 0 on the clock that only runs forward, 2026-03-01 12:00:00.250 UTC on the other
void TestClockAdvanceMs(int64_t milliseconds);
uint64_t TestClockDelayedMs(); // what calls waited in total; each wait moves the clock as well
