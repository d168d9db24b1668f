// The moments at which the thread of the new devices does something: a cycle of ten seconds begins where the one before
// ended, and what happens within a cycle counts when it ends.
#include <cstdio>
#include <functional>
#include <regex>

#include "core/Config.h"
#include "plugin/ParseJson.h"
#include "tests/unit/agent/Function39Test.h"

namespace
{

struct Event {
    int64_t atMs;
    std::function<void()> happens;
};

Event Login(int64_t atMs, int value)
{
    return {atMs, [value] { SetSessionFlag(mLogin, value); }};
}

Event Minutes(int64_t atMs, const char *minutes)
{
    const std::string command = "{\"func40Interval\":" + std::string(minutes) + "}";
    return {atMs, [command] { EXPECT_EQ(0, ParserPlugData(18, command.c_str())); }};
}

Event Cycles(int64_t atMs, int cycles)
{
    return {atMs, [cycles] { SetSessionFlag(Fn40Interval, cycles); }};
}

Event Fails(int64_t atMs, int result)
{
    return {atMs, [result] { gSdk.results["get_devs_cfg"] = result; }};
}

Event PeerComes(int64_t atMs)
{
    return {atMs, LocalPeerCame};
}

class Function39Moments : public Function39
{
  protected:
    void SetUp() override
    {
        Function39::SetUp();
        l_debug = 1; // reports are logged, too
        Household({1});
    }

    // Starts the thread, lets the events happen in their order and time pass up to `endMs`. Returns what was logged, each
    // with its second.
    std::string Run(int64_t endMs, const std::vector<Event> &events = {})
    {
        testing::internal::CaptureStdout();
        others = ThreadsOf();
        EXPECT_EQ(0, Fn39Init());
        AwaitWait();
        for (const Event &event : events) {
            PassTo(event.atMs);
            event.happens();
            Settle();
        }
        PassTo(endMs);
        const std::string moments = Moments(Log());
        Fn39Stop();
        testing::internal::GetCapturedStdout();
        return moments;
    }

  private:
    void PassTo(int64_t timeMs)
    {
        while (OsNowMs() < timeMs) {
            const int64_t due = FakeClockNextDeadlineMs(); // none after the thread's end
            FakeClockAdvanceMs(std::min<int64_t>(due > 0 ? due : 500, timeMs - OsNowMs()));
            Settle();
        }
    }

    // Waits until the thread waits again, or has ended after a local peer came.
    void Settle()
    {
        if (CommClientReg == 0)
            AwaitWait();
        else
            EXPECT_TRUE(Within([this] { return FakeClockNextDeadlineMs() > 0 || ThreadsOf() == others; }));
    }

    static std::string Moments(const std::string &log)
    {
        static const struct {
            const char *text, *name;
        } kTexts[] = {{"Func39 query...", "query"},
                      {"Func39 get_devs_cfg failed.", "failed"},
                      {"Online subdev:", "report"},
                      {"UpdateMacProfile", "renewal"},
                      {"Use function 40", "end"}};
        static const std::regex kLine("(\\d\\d):(\\d\\d):(\\d\\d) \\[[A-Z]+\\] \\[Function39->[^\n]*\\]-> ([^\n]*)");
        std::string moments;
        for (std::sregex_iterator at(log.begin(), log.end(), kLine), end; at != end; ++at) {
            for (const auto &known : kTexts) {
                if ((*at)[4] != known.text) continue;
                const int second = std::stoi((*at)[1]) * 3600 + std::stoi((*at)[2]) * 60 + std::stoi((*at)[3]);
                moments +=
                    (moments.empty() ? "" : ", ") + std::to_string(second - kFakeEpoch % 86400) + " " + known.name;
            }
        }
        return moments;
    }
};

} // namespace

TEST_F(Function39Moments, UndisturbedItAsksEveryMinuteAndRenewsWhenTheIntervalIsOver)
{
    EXPECT_EQ("60 query, 60 report, 120 query, 180 query, 240 query, 300 query, 300 renewal, 360 query, 420 query, 480 "
              "query, 540 query, 600 query, 600 renewal, 660 query",
              Run(700000));
}

TEST_F(Function39Moments, OtherIntervals)
{
    const struct {
        int cycles;
        const char *moments;
    } kCases[] = {{12, "60 query, 60 report, 120 query, 120 renewal, 180 query"},
                  {7, "60 query, 60 report, 70 renewal, 130 query, 140 renewal, 200 query"},
                  {6, "60 query, 60 report, 60 renewal, 120 query, 120 renewal, 180 query, 180 renewal"},
                  {5, "50 renewal, 100 renewal, 150 renewal, 200 renewal"},
                  {1, "10 renewal, 20 renewal, 30 renewal, 40 renewal, 50 renewal"},
                  {0, "10 renewal, 20 renewal, 30 renewal, 40 renewal, 50 renewal"},
                  {-1, "10 renewal, 20 renewal, 30 renewal, 40 renewal, 50 renewal"}};
    for (const auto &sample : kCases) {
        FakeOsReset();
        WriteFile(kPathMacConfig, "");
        Fn40Interval = sample.cycles;
        EXPECT_EQ(sample.moments, Run(sample.cycles < 5 ? 50000 : 200000)) << sample.cycles;
    }
}

TEST_F(Function39Moments, ALateLoginCountsFromTheEndOfItsCycle)
{
    mLogin = 0;
    EXPECT_EQ("100 query, 100 report, 160 query", Run(200000, {Login(33500, 1)}));
}

TEST_F(Function39Moments, ALoginAtTheEndOfACycleIsFoundInTheNext)
{
    mLogin = 0;
    EXPECT_EQ("100 query, 100 report", Run(120000, {Login(30000, 1)}));
}

TEST_F(Function39Moments, ALoginThatIsLostWithinItsCycleIsNotFound)
{
    mLogin = 0;
    EXPECT_EQ("110 query, 110 report", Run(120000, {Login(31000, 1), Login(39500, 0), Login(41000, 1)}));
}

TEST_F(Function39Moments, ALostSessionStopsTheCyclesAfterTheOneThatHadBegun)
{
    EXPECT_EQ("90 query, 90 report, 150 query, 210 query, 270 query", Run(300000, {Login(23000, 0), Login(57000, 1)}));
}

TEST_F(Function39Moments, ALostSessionThatIsBackWithinTheCycleStopsNothing)
{
    EXPECT_EQ("60 query, 60 report, 120 query",
              Run(130000, {Login(23000, 0), Login(29500, 1), Login(50000, 0), Login(59500, 1)}));
}

TEST_F(Function39Moments, ALostSessionInTheCycleOfTheQueryPutsItOff)
{
    EXPECT_EQ("100 query, 100 report, 160 query", Run(200000, {Login(55000, 0), Login(81000, 1)}));
}

TEST_F(Function39Moments, ALostSessionAtTheEndOfACycle)
{
    EXPECT_EQ("100 query, 100 report, 160 query", Run(200000, {Login(40000, 0), Login(80000, 1)}));
}

TEST_F(Function39Moments, TheRenewalOfACycleWithoutSessionWritesNothing)
{
    Fn40Interval = 8;
    EXPECT_EQ("60 query, 60 report, 160 query, 180 renewal, 240 query, 260 renewal",
              Run(300000, {Login(75000, 0), Login(95000, 1)}));
}

TEST_F(Function39Moments, ReportsThatAreSwitchedOffAndOn)
{
    EXPECT_EQ(
        "130 query, 130 report, 130 renewal, 190 query, 190 renewal, 250 query, 310 query, 310 renewal, 370 query",
        Run(400000, {Minutes(12000, "0"), Minutes(87000, "1"), Minutes(201000, "0"), Minutes(202000, "2")}));
}

TEST_F(Function39Moments, AShorterIntervalRenewsAtTheEndOfTheCycleAndALongerOneLater)
{
    EXPECT_EQ("60 query, 60 report, 110 renewal, 170 query, 190 renewal", Run(200000, {Cycles(103000, 8)}));
    FakeOsReset();
    EXPECT_EQ("60 query, 60 report, 80 renewal, 140 query, 200 query", Run(200000, {Cycles(100000, 13)}));
    FakeOsReset();
    Fn40Interval = 8;
    EXPECT_EQ("60 query, 60 report, 120 query, 150 renewal", Run(200000, {Cycles(79500, 15)}));
    FakeOsReset();
    Fn40Interval = 3;
    EXPECT_EQ("30 renewal, 90 query, 90 report, 90 renewal, 150 query, 150 renewal, 160 renewal, 170 renewal",
              Run(200000, {Minutes(34000, "1"), Cycles(152000, 0), Cycles(171000, 30)}));
}

TEST_F(Function39Moments, ALocalPeerEndsTheThreadAtTheEndOfTheCycle)
{
    EXPECT_EQ("30 end", Run(60000, {PeerComes(23000)}));
    FakeOsReset();
    CommClientReg = 0;
    EXPECT_EQ("60 query, 60 report, 60 end", Run(120000, {PeerComes(53000)})); // the query is due
    FakeOsReset();
    CommClientReg = 0;
    Fn40Interval = 3;
    EXPECT_EQ("30 renewal, 30 end", Run(120000, {PeerComes(20000)})); // the renewal is due
}

TEST_F(Function39Moments, ALocalPeerEndsTheThreadAtOnceWhileNothingIsDue)
{
    mLogin = 0;
    EXPECT_EQ("23 end", Run(60000, {PeerComes(23000)}));
    FakeOsReset();
    CommClientReg = 0;
    EXPECT_EQ("23 end", Run(60000, {Login(21000, 1), PeerComes(23000)}));
    FakeOsReset();
    CommClientReg = 0;
    mLogin = 1;
    EXPECT_EQ("60 query, 60 failed, 83 end", Run(120000, {Fails(1000, 3), PeerComes(83000)}));
    FakeOsReset();
    CommClientReg = 0;
}

TEST_F(Function39Moments, AListThatFailsIsReadAgainAfterAMinuteAndACycle)
{
    EXPECT_EQ("60 query, 60 failed, 130 query, 130 report, 190 query, 250 query",
              Run(300000, {Fails(1000, 3), Login(70000, 0), Login(75000, 1), Fails(90000, 0)}));
}

TEST_F(Function39Moments, AListThatFailsAsTheSessionEndsIsReadAgainAfterTenSecondsAndACycle)
{
    gSdk.onCall = [](const std::string &) { SetSessionFlag(mLogin, 0); };
    EXPECT_EQ("60 query, 60 failed, 90 query, 90 report, 150 query",
              Run(200000, {Fails(1000, 3), {77000, [] {
                                                gSdk.onCall = nullptr;
                                                gSdk.results.clear();
                                                SetSessionFlag(mLogin, 1);
                                            }}}));
}

TEST_F(Function39Moments, AQueryThatTakesSecondsMovesTheCyclesThatFollow)
{
    gSdk.onCall = [](const std::string &) { FakeClockAdvanceMs(3500); };
    EXPECT_EQ("60 query, 63 report, 123 query, 187 query", Run(200000, {Login(91000, 0), Login(92000, 1)}));
}

TEST_F(Function39Moments, TheRenewalForgetsADeviceThatHasLeftWhenItCounts)
{
    Fn40Interval = 12;
    EXPECT_EQ("60 query, 60 report, 120 query, 120 renewal, 180 query, 180 report, 240 query, 240 renewal, 300 query, "
              "360 query, 360 renewal",
              Run(400000, {{70000, [] { Household({}); }}, {130000, [] { Household({1}); }}}));
}

TEST_F(Function39Moments, ItWakesOnlyForWhatItDoes)
{
    Start();
    const int begin = FakeClockWaits();
    Pass(30 * 6); // 30 minutes: 30 queries; the renewals fall into the same moments
    EXPECT_EQ(30u, gSdk.calls.size());
    EXPECT_EQ(30, FakeClockWaits() - begin);
}

TEST_F(Function39Moments, ItDoesNotWakeWhileThereIsNothingToDo)
{
    SetSessionFlag(mLogin, 0);
    Start();
    int begin = FakeClockWaits();
    FakeClockAdvanceMs(86400000);
    EXPECT_EQ(-1, FakeClockNextDeadlineMs());
    EXPECT_EQ(0, FakeClockWaits() - begin);
    SetSessionFlag(AutoReportDevinfo, 0);
    SetSessionFlag(mLogin, 1);
    AwaitWait();
    begin = FakeClockWaits();
    FakeClockAdvanceMs(86400000);
    EXPECT_EQ(-1, FakeClockNextDeadlineMs());
    EXPECT_EQ(0, FakeClockWaits() - begin);
}
