// The real os/posix.
#include "os/OsClock.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>

namespace
{

const time_t kNoon = 1'700'000'000 / 86'400 * 86'400 + 12 * 3600; // UTC

TEST(OsClock, RunsForwardOnly)
{
    int64_t last = OsNowMs();
    for (int i = 0; i < 1000; i++) {
        const int64_t now = OsNowMs();
        ASSERT_GE(now, last);
        last = now;
    }
}

TEST(OsClock, WallTimeIsTheDate)
{
    const time_t before = time(nullptr);
    const time_t now = OsWallTime();
    EXPECT_LE(before, now);
    EXPECT_LE(now, time(nullptr));
}

TEST(OsClock, LocalTimeOfATimeThatCannotBeRepresentedIsZeroed)
{
    struct tm out;
    memset(&out, 0x55, sizeof out);
    OsLocalTime(sizeof(time_t) == 8 ? static_cast<time_t>(INT64_MAX) : 0, &out);
    if (sizeof(time_t) < 8) GTEST_SKIP() << "every moment can be represented";
    struct tm zero = {};
    EXPECT_EQ(0, memcmp(&zero, &out, sizeof out));
}

class LocalTime : public testing::Test
{
  protected:
    ~LocalTime() override
    {
        unsetenv("TZ");
        tzset();
    }
};

int HourOf(time_t when)
{
    struct tm local;
    OsLocalTime(when, &local);
    return local.tm_hour;
}

TEST_F(LocalTime, AChangeOfTheZoneIsNoticed)
{
    setenv("TZ", "UTC0", 1);
    EXPECT_EQ(12, HourOf(kNoon));
    setenv("TZ", "AHEAD-8", 1);
    EXPECT_EQ(20, HourOf(kNoon));
}

TEST_F(LocalTime, EveryFieldIsSet)
{
    setenv("TZ", "XXX-5:30", 1);
    struct tm out;
    OsLocalTime(1700000000, &out); // 2023-11-14 22:13:20 UTC
    EXPECT_EQ(123, out.tm_year);
    EXPECT_EQ(10, out.tm_mon);
    EXPECT_EQ(15, out.tm_mday);
    EXPECT_EQ(3, out.tm_hour);
    EXPECT_EQ(43, out.tm_min);
    EXPECT_EQ(20, out.tm_sec);
}

TEST_F(LocalTime, MidnightIsThatOfTheZone)
{
    setenv("TZ", "UTC0", 1);
    EXPECT_EQ(kNoon - 12 * 3600, OsLocalMidnight(kNoon));
    setenv("TZ", "AHEAD-8", 1);
    EXPECT_EQ(kNoon - 20 * 3600, OsLocalMidnight(kNoon));
}

} // namespace
