// When rules act: weekdays, midnight, time zones and summer time.
#include "os/OsClock.h"
#include "tests/unit/agent/IotPollTest.h"

typedef IotPollTest IotPollTimeTest;

static const char kCentralEurope[] = "CET-1CEST,M3.5.0,M10.5.0/3";

// ---- Weekdays and midnight ----

TEST_F(IotPollTimeTest, WeekdaysOneToSixAreMondayToSaturday)
{
    AddDevice(kBytes, 1);
    for (int day = 1; day <= 6; day++) {
        Add(std::to_string(day), 8, 0, 9, 0);
        for (int other = 0; other < 7; other++) {
            gSdk.devices[0].access = 1;
            EXPECT_EQ(other == day - 1 ? 0 : 1, AccessAt(other, 8, 30)) << day << ' ' << other;
        }
        gSdk.devices[0].access = 0;
        EXPECT_EQ(1, AccessAt(day - 1, 9, 30));
        const SurfRule rule = {8, 0, 9, 0};
        EXPECT_EQ(0, del_surf_rule(kMac, std::to_string(day).c_str(), &rule));
    }
}

TEST_F(IotPollTimeTest, RulesOfDaySevenAreNeverEnforced)
{
    AddDevice(kBytes, 1);
    Add("7", 0, 0, 23, 59);
    for (int day = 0; day < 14; day++) EXPECT_EQ(1, AccessAt(day, 12, 0));
    EXPECT_EQ(0u, Writes());
}

TEST_F(IotPollTimeTest, SundayIsLookedUpAsZero)
{
    AddDevice(kBytes, 1);
    hash_table_insert("02:00:00:00:00:0A|0", NewRule(0, 0, 23, 59)); // no command stores one
    EXPECT_EQ(1, AccessAt(5, 12, 0));
    EXPECT_EQ(0, AccessAt(6, 12, 0));
}

TEST_F(IotPollTimeTest, ARangeAcrossMidnightIsTwoRules)
{
    AddDevice(kBytes, 1);
    Add("1", 22, 0, 23, 59);
    Add("2", 0, 0, 6, 0);
    EXPECT_EQ(1, AccessAt(0, 21, 59, 59));
    EXPECT_EQ(0, AccessAt(0, 22, 0));
    EXPECT_EQ(1u, Writes());
    EXPECT_EQ(0, AccessAt(0, 23, 59, 59));
    EXPECT_EQ(0, AccessAt(1, 0, 0));
    EXPECT_EQ(0, AccessAt(1, 6, 0, 59));
    EXPECT_EQ(0u, Writes()); // not even at midnight
    EXPECT_EQ(1, AccessAt(1, 6, 1));
}

TEST_F(IotPollTimeTest, ARangeAcrossMidnightAsOneRuleHasNoEffect)
{
    AddDevice(kBytes, 1);
    Add("1", 22, 0, 2, 0);
    for (int minute = 0; minute < 2 * 24 * 60; minute += 7) EXPECT_EQ(1, AccessAt(0, 0, minute));
}

TEST_F(IotPollTimeTest, ADeviceStaysRefusedAfterMidnightUntilAnotherEntryApplies)
{
    AddDevice(kBytes, 1);
    Add("1", 22, 0, 23, 59);
    Add("4", 8, 0, 9, 0);
    EXPECT_EQ(0, AccessAt(0, 23, 59));
    EXPECT_EQ(0, AccessAt(1, 0, 0));   // Tuesday has no entry
    EXPECT_EQ(0, AccessAt(2, 12, 0));  // nor has Wednesday
    EXPECT_EQ(1, AccessAt(3, 0, 0));   // Thursday's does not match
    EXPECT_EQ(0, AccessAt(7, 22, 30)); // the next Monday
}

TEST_F(IotPollTimeTest, OrUntilItsLastRuleIsDeleted)
{
    AddDevice(kBytes, 1);
    Add("1", 22, 0, 23, 59);
    AccessAt(0, 23, 0);
    EXPECT_EQ(0, AccessAt(1, 0, 0));
    const SurfRule rule = {22, 0, 23, 59};
    del_surf_rule(kMac, "1", &rule);
    EXPECT_EQ(1, Access(kBytes));
    EXPECT_EQ(1, AccessAt(7, 23, 0));
}

// ---- Time zones ----

TEST_F(IotPollTimeTest, RulesFollowTheLocalTime)
{
    AddDevice(kBytes, 1);
    FakeTimeZone("XXX-5:30"); // 5 h 30 min ahead of UTC
    Add("1", 8, 0, 9, 0);
    EXPECT_EQ(1, AccessAt(0, 2, 29));
    EXPECT_EQ(0, AccessAt(0, 2, 30));
    EXPECT_EQ(0, AccessAt(0, 3, 30));
    EXPECT_EQ(1, AccessAt(0, 3, 31));
    EXPECT_EQ(1, AccessAt(0, 8, 30));
}

TEST_F(IotPollTimeTest, TheWeekdayIsTheLocalOne)
{
    AddDevice(kBytes, 1);
    Add("2", 0, 0, 23, 59); // Tuesday
    Add("3", 12, 0, 12, 0);
    FakeTimeZone("EAST-12");
    EXPECT_EQ(1, AccessAt(0, 11, 59));
    EXPECT_EQ(0, AccessAt(0, 12, 0)); // Monday noon in UTC
    EXPECT_EQ(1, AccessAt(1, 12, 0)); // it is Wednesday there
    FakeTimeZone("WEST11");
    EXPECT_EQ(1, AccessAt(1, 10, 59));
    EXPECT_EQ(0, AccessAt(1, 11, 0));
    EXPECT_EQ(0, AccessAt(2, 10, 59)); // Wednesday morning in UTC
    EXPECT_EQ(1, AccessAt(2, 11, 0));
}

TEST_F(IotPollTimeTest, AnHourThatSummerTimeLeavesOutIsNotEnforced)
{
    AddDevice(kBytes, 1);
    FakeTimeZone(kCentralEurope);
    hash_table_insert("02:00:00:00:00:0A|0", NewRule(2, 0, 2, 59));
    const int sunday = 90; // 31 March 2024: at 01:00 UTC, 02:00 becomes 03:00
    EXPECT_EQ(1, AccessAt(sunday, 0, 59, 59));
    EXPECT_EQ(1, AccessAt(sunday, 1, 0));
    EXPECT_EQ(1, AccessAt(sunday, 1, 30));
    EXPECT_EQ(0, AccessAt(sunday - 7, 1, 30)); // 02:30, a week before
    EXPECT_EQ(1, AccessAt(sunday, 0, 30));     // 01:30
    EXPECT_EQ(0, AccessAt(sunday + 7, 0, 30)); // 02:30, a week after
}

TEST_F(IotPollTimeTest, AnHourThatComesTwiceIsEnforcedTwice)
{
    AddDevice(kBytes, 1);
    FakeTimeZone(kCentralEurope);
    hash_table_insert("02:00:00:00:00:0A|0", NewRule(2, 15, 2, 45));
    const int sunday = 300; // 27 October 2024: at 01:00 UTC, 03:00 becomes 02:00
    EXPECT_EQ(1, AccessAt(sunday, 0, 14));
    EXPECT_EQ(0, AccessAt(sunday, 0, 15));
    EXPECT_EQ(0, AccessAt(sunday, 0, 45));
    EXPECT_EQ(1, AccessAt(sunday, 0, 46));
    EXPECT_EQ(1, AccessAt(sunday, 1, 14));
    EXPECT_EQ(0, AccessAt(sunday, 1, 15));
    EXPECT_EQ(1, AccessAt(sunday, 1, 46));
}

TEST_F(IotPollTimeTest, ARuleOverTheChangeIsAnHourShorterOrLonger)
{
    AddDevice(kBytes, 1);
    FakeTimeZone(kCentralEurope);
    hash_table_insert("02:00:00:00:00:0A|0", NewRule(1, 0, 3, 29));
    for (const auto &day : {std::pair<int, int>{90, 90}, {300, 210}, {307, 150}}) {
        int minutes = 0;
        for (int minute = 0; minute < 5 * 60; minute++) minutes += AccessAt(day.first, -2, minute) == 0;
        EXPECT_EQ(day.second, minutes) << day.first;
    }
}

TEST_F(IotPollTimeTest, RulesFollowAClockThatIsSet)
{
    AddDevice(kBytes, 1);
    Add("4", 0, 0, 0, 5); // 1 January 1970, a router without a clock
    FakeClockSetWallTime(60);
    surf_rule_func();
    EXPECT_EQ(0, Access(kBytes));
    Add("1", 8, 0, 9, 0);
    EXPECT_EQ(1, AccessAt(0, 12, 0));
}
