#include "tests/unit/sim/TestClock.h"

#include <mutex>

#include "sdk/sim/SimClock.h"

// A lock instead of atomics: the router's processor has none of 64 bits.
static std::mutex s_lock;
static int64_t s_now;
static uint64_t s_delayed;

int64_t SimNowMs()
{
    std::lock_guard<std::mutex> guard(s_lock);
    return s_now;
}

int64_t SimWallMs()
{
    return 1772366400250 + SimNowMs();
}

void SimDelayMs(uint32_t milliseconds)
{
    std::lock_guard<std::mutex> guard(s_lock);
    s_delayed += milliseconds;
    s_now += milliseconds;
}

void TestClockReset()
{
    std::lock_guard<std::mutex> guard(s_lock);
    s_now = 0;
    s_delayed = 0;
}

void TestClockAdvanceMs(int64_t milliseconds)
{
    std::lock_guard<std::mutex> guard(s_lock);
    s_now += milliseconds;
}

uint64_t TestClockDelayedMs()
{
    std::lock_guard<std::mutex> guard(s_lock);
    return s_delayed;
}
