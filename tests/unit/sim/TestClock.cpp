#include "tests/unit/sim/TestClock.h"

#include "sdk/sim/SimClock.h"
#include <atomic>

static std::atomic<int64_t> s_now{0};
static std::atomic<uint64_t> s_delayed{0};

int64_t SimNowMs()
{
    return s_now;
}

int64_t SimWallMs()
{
    return 1772366400250 + s_now;
}

void SimDelayMs(uint32_t milliseconds)
{
    s_delayed += milliseconds;
    s_now += milliseconds;
}

void TestClockReset()
{
    s_now = 0;
    s_delayed = 0;
}

void TestClockAdvanceMs(int64_t milliseconds)
{
    s_now += milliseconds;
}

uint64_t TestClockDelayedMs()
{
    return s_delayed;
}
