// At what time of the day and of a cycle a router reports, and how evenly the routers are spread.
#include "comm/ReportTimes.h"

#include "tests/unit/agent/AgentTest.h"

namespace
{

constexpr int64_t kMidnight = 1699920000; // of kFakeEpoch, which is 22:13:20
constexpr int64_t kNow = 1700000000;

class ReportTimesTest : public AgentTest
{
  protected:
    // A router with the MAC value `mac` among `slots` slots, with neither report.
    static ReportPlan Plan(uint32_t mac, int slots) { return {mac, slots, -1, -1, "", 0, kMidnight, kNow}; }

    static ReportPlan Daily(uint32_t mac, int slots, const char *jumpTime = "")
    {
        ReportPlan plan = Plan(mac, slots);
        plan.interval2 = 1440;
        plan.jumpTime = jumpTime;
        return plan;
    }

    static ReportPlan Cyclic(uint32_t mac, int slots, int minutes)
    {
        ReportPlan plan = Plan(mac, slots);
        plan.interval3 = minutes;
        return plan;
    }

    // Both times; the test fails when the plan is refused.
    static ReportTimes Times(const ReportPlan &plan)
    {
        ReportTimes times = {-1, -1};
        EXPECT_EQ(0, ReportTimesOf(plan, &times));
        return times;
    }

    // Result and times of a quiet period; those left alone are -1.
    struct Quiet {
        int result, begin, end;
        bool operator==(const Quiet &other) const
        {
            return result == other.result && begin == other.begin && end == other.end;
        }
    };
    static Quiet Taken(const std::string &text)
    {
        std::string copy = text;
        Quiet quiet = {0, -1, -1};
        quiet.result = jumpTimeToSec(&quiet.end, &quiet.begin, &copy[0]);
        return quiet;
    }

    void ExpectRefused(const std::string &text, const std::string &line)
    {
        EXPECT_EQ(-1, Taken(text).result) << text;
        EXPECT_NE(std::string::npos, Log().find("]-> " + line + "\n\n")) << text;
    }
};

} // namespace

// ---- jumpTimeToSec ----

TEST_F(ReportTimesTest, AQuietPeriodIsTwoTimesOfDayWithOneOrTwoDigitsOfHours)
{
    EXPECT_TRUE((Quiet{0, 28800, 79200}) == Taken("8:00-22:00"));
    EXPECT_TRUE((Quiet{0, 82500, 18300}) == Taken("22:55-5:05"));
    EXPECT_TRUE((Quiet{0, 82500, 18300}) == Taken("22:55-05:05"));
    EXPECT_TRUE((Quiet{0, 0, 86340}) == Taken("0:00-23:59"));
    EXPECT_EQ("", Log());
}

TEST_F(ReportTimesTest, TheEndsOfAQuietPeriodAreAnHourApartInEitherDirection)
{
    ExpectRefused("1:00-1:59", "jump time is little than 3600!");
    EXPECT_TRUE((Quiet{0, 3600, 7200}) == Taken("1:00-2:00"));
    ExpectRefused("1:59-1:00", "jump time is little than 3600!");
    EXPECT_TRUE((Quiet{0, 7200, 3600}) == Taken("2:00-1:00"));
    ExpectRefused("12:00-12:00", "jump time is little than 3600!");
}

TEST_F(ReportTimesTest, AQuietPeriodWithoutAFirstTimeIsRefused)
{
    ExpectRefused("", "jump time error!!!");
    ExpectRefused("---", "jump time error!!!");
}

TEST_F(ReportTimesTest, AQuietPeriodWithoutASecondTimeIsRefused)
{
    ExpectRefused("1:00", "jump time error!");
    ExpectRefused("01:00-", "jump time error!");
}

TEST_F(ReportTimesTest, ATimeWithoutFourOrFiveCharactersIsRefused)
{
    ExpectRefused("1:0-12:00", "Time data length error!!!");
    ExpectRefused("001:00-12:00", "Time data length error!!!");
    ExpectRefused("1:00-1:0", "Time data length error!!!");
    ExpectRefused("1:00-012:00", "Time data length error!!!");
}

TEST_F(ReportTimesTest, ATimeWithoutColonIsRefused)
{
    ExpectRefused("0100-12:00", "Time data error!!!");
    ExpectRefused("01:00-12.00", "Time data error!!!");
}

TEST_F(ReportTimesTest, DigitsAndHoursOfAQuietPeriodAreNotChecked)
{
    EXPECT_TRUE((Quiet{0, 99 * 3600 + 99 * 60, 0}) == Taken("99:99-0:00"));
    EXPECT_TRUE((Quiet{0, ('A' - '0') * 3600, 0}) == Taken("A:00-0:00"));
    // The fifth character is the terminator: 48 less than a zero.
    EXPECT_TRUE((Quiet{0, 12 * 3600 + (30 - 48) * 60, 0}) == Taken("12:3-0:00"));
}

// ---- The daily report ----

TEST_F(ReportTimesTest, TheDailyReportIsInTheSlotThatTheMacChooses)
{
    EXPECT_DOUBLE_EQ(kMidnight + 38880, Times(Daily(12345, 100)).day); // slot 45 of 864 s
    EXPECT_DOUBLE_EQ(kMidnight, Times(Daily(100, 100)).day);
    EXPECT_DOUBLE_EQ(kMidnight + 99 * 864, Times(Daily(0xFFFFFF - 16, 100)).day); // 16777199
}

TEST_F(ReportTimesTest, SlotsHaveFractions)
{
    EXPECT_NEAR(kMidnight + 37028.571429, Times(Daily(3, 7)).day, 1e-6);              // 3 * 86400 / 7
    EXPECT_NEAR(kMidnight + 0.00432, Times(Daily(1, 20000000)).day, 1e-6);            // the shortest slots
    EXPECT_NEAR(kMidnight + 72477.53856, Times(Daily(16777208, 20000000)).day, 1e-6); // 16777208 * 0.00432
}

TEST_F(ReportTimesTest, TheClockDifferenceShiftsTheDailyReport)
{
    ReportPlan plan = Daily(12345, 100);
    plan.difference = -77;
    EXPECT_DOUBLE_EQ(kMidnight + 38880 - 77, Times(plan).day);
    plan.jumpTime = "8:00-22:00";
    EXPECT_DOUBLE_EQ(kMidnight + 79200 + 2880 - 77, Times(plan).day);
}

TEST_F(ReportTimesTest, OnlyAnIntervalOf1440AsksForADailyReport)
{
    for (const int interval : {-1, 0, 1, 1439, 1441, 2880}) {
        ReportPlan plan = Daily(12345, 100, "no quiet period");
        plan.interval2 = interval;
        EXPECT_EQ(0, Times(plan).day) << interval;
    }
    EXPECT_EQ("", Log());
}

TEST_F(ReportTimesTest, TheDailyReportIsWrappedIntoTheTimeOutsideTheQuietPeriod)
{
    // From 22:00 to 8:00 are 36000 s: 38880 wraps to 2880.
    EXPECT_DOUBLE_EQ(kMidnight + 79200 + 2880, Times(Daily(12345, 100, "8:00-22:00")).day);
    // From 5:00 to 23:00 are 64800 s: nothing to wrap.
    EXPECT_DOUBLE_EQ(kMidnight + 18000 + 38880, Times(Daily(12345, 100, "23:00-05:00")).day);
    // From 1:00 to midnight, although it is written 24:00.
    EXPECT_DOUBLE_EQ(kMidnight + 3600 + 38880, Times(Daily(12345, 100, "24:00-1:00")).day);
}

TEST_F(ReportTimesTest, TheFractionOfASlotIsKeptWhenItIsWrapped)
{
    // 37028.571429 wraps to 1028, and the fraction comes back.
    EXPECT_NEAR(kMidnight + 79200 + 1028.571429, Times(Daily(3, 7, "8:00-22:00")).day, 1e-6);
}

TEST_F(ReportTimesTest, AnUnusableQuietPeriodRefusesTheDailyReport)
{
    for (const char *text : {"1:00-1:59", "123456789", "1:00=2:00"}) {
        ReportTimes times;
        EXPECT_EQ(-1, ReportTimesOf(Daily(1, 100, text), &times)) << text;
    }
}

TEST_F(ReportTimesTest, AQuietPeriodOfTheWholeDayRefusesTheDailyReport)
{
    ReportTimes times;
    EXPECT_EQ(-1, ReportTimesOf(Daily(1, 100, "0:00-24:00"), &times));
}

TEST_F(ReportTimesTest, AQuietPeriodThatEndsDaysLaterLeavesTheSlotAsItIs)
{
    // From 99:00 of this day to 1:00 of the next the span is negative; as an unsigned number it is longer than any day.
    EXPECT_DOUBLE_EQ(kMidnight + 99 * 3600 + 38880, Times(Daily(12345, 100, "1:00-99:00")).day);
}

// ---- The cyclic reports ----

TEST_F(ReportTimesTest, WithoutAnIntervalThereIsNoCycle)
{
    for (const int minutes : {-1, 0, INT32_MIN}) EXPECT_EQ(0, Times(Cyclic(12345, 100, minutes)).cycle) << minutes;
}

TEST_F(ReportTimesTest, AFutureCycleStartIsTheSlotInThePeriodFromMidnight)
{
    // 1440 minutes in 100 slots of 864 s; slot 99 starts at 23:45:36.
    EXPECT_DOUBLE_EQ(kMidnight + 99 * 864, Times(Cyclic(99, 100, 1440)).cycle);
}

TEST_F(ReportTimesTest, ACycleStart30SecondsAgoMovesOnByWholePeriodsAndOneThatIsLaterStays)
{
    ReportPlan plan = Cyclic(45, 100, 30); // slot 45 of 18 s: 810 s after midnight
    plan.now = kMidnight + 810 + 29;
    EXPECT_DOUBLE_EQ(kMidnight + 810, Times(plan).cycle);
    plan.now = kMidnight + 810 + 30;
    EXPECT_DOUBLE_EQ(kMidnight + 810 + 1800, Times(plan).cycle);
    plan.now = kMidnight + 810 + 1800 - 31;
    EXPECT_DOUBLE_EQ(kMidnight + 810 + 1800, Times(plan).cycle);
    plan.now = kMidnight + 810 + 1800 - 30; // too short a time to be told of it
    EXPECT_DOUBLE_EQ(kMidnight + 810 + 2 * 1800, Times(plan).cycle);
}

TEST_F(ReportTimesTest, OnlyWholeSecondsDecideWhetherACycleStartHasPassed)
{
    ReportPlan plan = Cyclic(3, 7, 1); // 3 * 60 / 7 = 25.714286
    plan.now = kMidnight + 25 + 29;
    EXPECT_NEAR(kMidnight + 25.714286, Times(plan).cycle, 1e-6);
    plan.now = kMidnight + 25 + 30; // 29.3 s after the start; (30 + 30) / 60 + 1 periods on
    EXPECT_NEAR(kMidnight + 25.714286 + 120, Times(plan).cycle, 1e-6);
}

TEST_F(ReportTimesTest, TheClockDifferenceShiftsTheCycle)
{
    ReportPlan plan = Cyclic(45, 100, 30);
    plan.difference = 60;
    plan.now = kMidnight;
    EXPECT_DOUBLE_EQ(kMidnight + 870, Times(plan).cycle);
}

TEST_F(ReportTimesTest, ThePeriodMayBeTheLongestNumberOfMinutes)
{
    // 2147483647 minutes: slot 1 of 5 begins after 128849018820 / 5 s.
    EXPECT_DOUBLE_EQ(kMidnight + 25769803764.0, Times(Cyclic(1, 5, INT32_MAX)).cycle);
}

// ---- The spread over 100,000 routers ----

namespace
{

constexpr int kRouters = 100000;

// MACs as they leave the factory: consecutive.
uint32_t FactoryMac(int i)
{
    return static_cast<uint32_t>(0x3A0000 + i) & 0xFFFFFF;
}

// MACs as they are in the field: spread.
uint32_t FieldMac(int i)
{
    uint32_t x = static_cast<uint32_t>(i) * 2654435761u;
    x ^= x >> 15;
    return (x * 2246822519u) >> 8;
}

// How many routers fall into each of `parts` equal parts of [begin, begin + span); every one has to.
template <typename TimeOf>
std::vector<int> Shares(TimeOf timeOf, double begin, double span, size_t parts)
{
    std::vector<int> shares(parts);
    for (int i = 0; i < kRouters; i++) {
        const double time = timeOf(i);
        EXPECT_GE(time, begin) << i;
        EXPECT_LT(time, begin + span) << i;
        if (time >= begin && time < begin + span) shares[static_cast<size_t>((time - begin) / span * parts)]++;
    }
    return shares;
}

// No share is more than `percent` off `even`.
void ExpectEven(const std::vector<int> &shares, double even, double percent)
{
    for (size_t i = 0; i < shares.size(); i++) EXPECT_NEAR(even, shares[i], even * percent / 100) << "part " << i;
}

} // namespace

TEST_F(ReportTimesTest, AHundredThousandRoutersReportEvenlyOverTheDay)
{
    const auto factory = [](int i) { return Times(Daily(FactoryMac(i), 10000)).day; };
    ExpectEven(Shares(factory, kMidnight, 86400, 24), kRouters / 24.0, 1);
    const auto field = [](int i) { return Times(Daily(FieldMac(i), 10000)).day; };
    ExpectEven(Shares(field, kMidnight, 86400, 24), kRouters / 24.0, 5);
}

TEST_F(ReportTimesTest, AHundredThousandRoutersKeepOutOfTheQuietPeriod)
{
    // 22:00 to 8:00: the day's 86400 s wrap twice and a bit into 36000 s, so that the first 14400 s (8 of 20 half
    // hours) have three of 48 half hours and the others two.
    for (const auto mac : {FactoryMac, FieldMac}) {
        const auto time = [mac](int i) { return Times(Daily(mac(i), 10000, "8:00-22:00")).day; };
        const std::vector<int> shares = Shares(time, kMidnight + 79200, 36000, 20);
        ExpectEven({shares.begin(), shares.begin() + 8}, kRouters * 3 / 48.0, 5);
        ExpectEven({shares.begin() + 8, shares.end()}, kRouters * 2 / 48.0, 6);
    }
}

TEST_F(ReportTimesTest, AHundredThousandRoutersKeepOutOfAQuietNight)
{
    // 5:30 to 23:30 are 64800 s, into which the first quarter of the day comes twice.
    const auto time = [](int i) { return Times(Daily(FactoryMac(i), 10000, "23:30-05:30")).day; };
    const std::vector<int> shares = Shares(time, kMidnight + 19800, 64800, 18);
    ExpectEven({shares.begin(), shares.begin() + 6}, kRouters * 2 / 24.0, 2);
    ExpectEven({shares.begin() + 6, shares.end()}, kRouters / 24.0, 2);
}

TEST_F(ReportTimesTest, AHundredThousandRoutersStartTheirCyclesEvenlyOverOnePeriodFromNow)
{
    for (const auto mac : {FactoryMac, FieldMac}) {
        const auto time = [mac](int i) { return Times(Cyclic(mac(i), 10000, 30)).cycle; };
        ExpectEven(Shares(time, kNow + 30, 1801, 30), kRouters / 30.0, 6);
    }
}

TEST_F(ReportTimesTest, RoutersOfOneSlotReportTogether)
{
    EXPECT_EQ(Times(Daily(45, 100)).day, Times(Daily(12345, 100)).day);
    EXPECT_EQ(Times(Cyclic(45, 100, 30)).cycle, Times(Cyclic(12345, 100, 30)).cycle);
}
