// What a staged update decides, with a clock moved by hand.
#include <gtest/gtest.h>
#include <set>

#include "gateway/update/Rollout.h"

using namespace gateway;
using Verdict = Rollout::Verdict;

namespace
{
constexpr int64_t kStart = 1700000000;

std::string Serial(int i)
{
    return "R" + std::to_string(i);
}

RolloutRules Rules(const std::vector<std::string> &shares, double failures = 1)
{
    RolloutRules rules;
    rules.version = "2.0.0.8";
    rules.md5 = "d41d8cd98f00b204e9800998ecf8427e";
    rules.shares = shares;
    rules.failures = failures;
    rules.settleSeconds = 0;
    return rules;
}

struct Fleet : Rollout {
    int64_t now = kStart;
    uint64_t logins = 0;
    std::map<std::string, std::string> entries; // as the bucket has them

    explicit Fleet(const RolloutRules &rules, int routers = 0) : Rollout(rules)
    {
        for (int i = 0; i < routers; i++) Login(Serial(i), "2.0.0.7");
    }
    void Login(const std::string &serial, const std::string &version) { Online(serial, version, ++logins, now); }
    // One step; those that are asked then.
    std::vector<std::string> Next(Verdict expected = Verdict::Going)
    {
        EXPECT_EQ(expected, Step(now));
        std::vector<std::string> serials;
        for (const Named *router : Take(now)) serials.push_back(router->first);
        Store();
        return serials;
    }
    void Store()
    {
        for (const Named *router : Changed()) entries[router->first] = Entry(router->second);
    }
    void Accept(const std::string &serial) { Answered(serial, false, R"({"ok":true,"result":0})", now); }
    void Report(const std::string &serial, int result, const std::string &version = "2.0.0.8")
    {
        Reported(R"({"serial":")" + serial + R"(","fields":{"toVersion":")" + version + R"(","result":)" +
                     std::to_string(result) + "}}",
                 now);
    }
    void Finish(const std::string &serial, const std::string &version = "2.0.0.8")
    {
        Accept(serial);
        Report(serial, 0);
        Login(serial, version);
    }
    std::string StateOf(const std::string &serial)
    {
        for (const auto &[share, router] : Plan(1))
            if (router->first == serial) return StateName(router->second.state) + (": " + router->second.why);
        return "";
    }
};

TEST(Percent, IsANumberOfAtMostAHundredWithItsSign)
{
    EXPECT_EQ(1, ParsePercent("1%"));
    EXPECT_EQ(0, ParsePercent("0%"));
    EXPECT_EQ(12.5, ParsePercent("12.5%"));
    EXPECT_EQ(100, ParsePercent("100%"));
    for (const char *text : {"", "%", "1", "101%", "-1%", "1%%", "1% ", "nan%", "x%"})
        EXPECT_FALSE(ParsePercent(text)) << text;
}

TEST(Rollout, EachShareContainsTheOneBeforeAndTheLastOneAll)
{
    Fleet fleet(Rules({"1%", "10%", "100%"}), 1000);
    const auto plan = fleet.Plan(3);
    ASSERT_EQ(1000u, plan.size());
    std::map<std::string, int> sizes;
    std::set<std::string> serials;
    for (const auto &[share, router] : plan) {
        sizes[share]++;
        serials.insert(router->first);
    }
    EXPECT_EQ((std::map<std::string, int>{{"1%", 10}, {"10%", 90}, {"100%", 900}}), sizes);
    EXPECT_EQ(1000u, serials.size());
}

TEST(Rollout, TheChoiceDependsOnTheSerialNumbersAndTheVersionOnly)
{
    Fleet one(Rules({"10%"}), 100), other(Rules({"10%"}));
    for (int i = 99; i >= 0; i--) other.Login(Serial(i), "2.0.0.6");
    EXPECT_EQ(one.Next(), other.Next());
    RolloutRules rules = Rules({"10%"});
    rules.version = "2.0.0.9";
    EXPECT_NE(Fleet(Rules({"10%"}), 100).Next(), Fleet(rules, 100).Next());
}

TEST(Rollout, AShareHasAtLeastOneRouter)
{
    EXPECT_EQ(1u, Fleet(Rules({"1%"}), 3).Next().size());
    EXPECT_EQ(0u, Fleet(Rules({"1%"})).Plan(1).size());
}

TEST(Rollout, TheNextShareWaitsForAllOfTheOneBeforeAndTheTimeBetween)
{
    RolloutRules rules = Rules({"20%", "100%"});
    rules.settleSeconds = 60;
    Fleet fleet(rules, 10);
    const auto first = fleet.Next();
    ASSERT_EQ(2u, first.size());
    fleet.Finish(first[0]);
    EXPECT_TRUE(fleet.Next().empty());
    fleet.now += 100;
    EXPECT_TRUE(fleet.Next().empty());
    fleet.Finish(first[1]);
    fleet.now += 59;
    EXPECT_TRUE(fleet.Next().empty());
    fleet.now += 1;
    EXPECT_EQ(8u, fleet.Next().size());
}

TEST(Rollout, AsManyAsToldAreUnderWay)
{
    RolloutRules rules = Rules({"100%"});
    rules.atOnce = 3;
    Fleet fleet(rules, 10);
    const auto first = fleet.Next();
    EXPECT_EQ(3u, first.size());
    EXPECT_TRUE(fleet.Next().empty());
    fleet.Finish(first[0]);
    EXPECT_EQ(1u, fleet.Next().size());
}

TEST(Rollout, ItIsDoneWhenAllAreBackWithTheVersion)
{
    Fleet fleet(Rules({"50%", "100%"}), 4);
    for (int share = 0; share < 2; share++)
        for (const std::string &serial : fleet.Next()) fleet.Finish(serial);
    fleet.Next(Verdict::Done);
    EXPECT_EQ("100%: 4 of 4 updated, 0 failed, 0 offline, 0 under way", fleet.Progress());
}

TEST(Rollout, RoutersThatHaveTheVersionAreLeftAlone)
{
    Fleet fleet(Rules({"100%"}), 1);
    fleet.Login("N", "2.0.0.8");
    EXPECT_EQ(std::vector<std::string>{"R0"}, fleet.Next());
    fleet.Finish("R0");
    fleet.Next(Verdict::Done);
    EXPECT_EQ("100%: 1 of 1 updated, 0 failed, 0 offline, 0 under way", fleet.Progress());
}

// ---- What becomes of a router

TEST(Rollout, OneThatIsBackWithTheOldVersionHasFailed)
{
    Fleet fleet(Rules({"100%"}), 1);
    fleet.Next();
    fleet.Finish("R0", "2.0.0.7");
    EXPECT_EQ("failed: it is back with 2.0.0.7", fleet.StateOf("R0"));
}

TEST(Rollout, OneThatGoesBackLaterHasFailed)
{
    Fleet fleet(Rules({"100%"}), 1);
    fleet.Next();
    fleet.Finish("R0");
    EXPECT_EQ("updated: ", fleet.StateOf("R0"));
    fleet.Login("R0", "2.0.0.7");
    EXPECT_EQ("failed: it is back with 2.0.0.7", fleet.StateOf("R0"));
    fleet.Next(Verdict::Stopped);
}

TEST(Rollout, OneThatLosesItsSessionWhileItFetchesTheFileHasNotFailed)
{
    Fleet fleet(Rules({"100%"}), 1);
    fleet.Next();
    fleet.Accept("R0");
    fleet.Answered("R0", true, R"({"ok":false,"error":{"code":"offline","sentence":"s"}})", fleet.now);
    fleet.Offline("R0");
    fleet.Login("R0", "2.0.0.7");
    EXPECT_EQ("sent: ", fleet.StateOf("R0"));
    fleet.Report("R0", 0);
    fleet.Online("R0", "2.0.0.7", fleet.logins, fleet.now); // the same login, heard of again
    EXPECT_EQ("loaded: ", fleet.StateOf("R0"));
    fleet.Login("R0", "2.0.0.8");
    EXPECT_EQ("updated: ", fleet.StateOf("R0"));
}

TEST(Rollout, AReportOfFailureIsOneAndThatOfAnotherUpdateIsNot)
{
    Fleet fleet(Rules({"100%"}), 1);
    fleet.Next();
    fleet.Accept("R0");
    fleet.Report("R0", -1, "1.2.3.4");
    EXPECT_EQ("sent: ", fleet.StateOf("R0"));
    fleet.Report("R0", -1);
    EXPECT_EQ("failed: it could not fetch the file, or has fetched another one", fleet.StateOf("R0"));
}

TEST(Rollout, OneThatIsNotBackInTimeHasFailedUntilItComes)
{
    Fleet fleet(Rules({"100%"}), 1);
    fleet.Next();
    fleet.Accept("R0");
    fleet.now += 899;
    fleet.Next();
    fleet.now += 1;
    fleet.Next(Verdict::Stopped);
    EXPECT_EQ("failed: it has not come back with 2.0.0.8 in time", fleet.StateOf("R0"));
    fleet.Login("R0", "2.0.0.8");
    EXPECT_EQ("updated: ", fleet.StateOf("R0"));
}

TEST(Rollout, OneThatIsNotReachedHasNotFailedAndIsAskedWhenItComes)
{
    Fleet fleet(Rules({"100%"}), 2);
    ASSERT_EQ(2u, fleet.Next().size());
    fleet.Answered("R0", false, R"({"ok":false,"error":{"code":"offline","sentence":"s"}})", fleet.now);
    fleet.Answered("R1", false, "", fleet.now); // no gateway
    EXPECT_EQ("offline: ", fleet.StateOf("R0"));
    EXPECT_EQ("offline: ", fleet.StateOf("R1"));
    fleet.Login("R0", "2.0.0.7");
    EXPECT_EQ(std::vector<std::string>{"R0"}, fleet.Next());
    fleet.Finish("R0");
    fleet.Next(Verdict::Done);
    EXPECT_EQ("100%: 1 of 1 updated, 0 failed, 1 offline, 0 under way", fleet.Progress());
}

TEST(Rollout, ARefusedCommandIsAFailureWithItsReason)
{
    Fleet fleet(Rules({"100%"}), 2);
    fleet.Next();
    fleet.Answered("R0", false, R"({"ok":false,"error":{"code":"busy","sentence":"too many questions"}})", fleet.now);
    EXPECT_EQ("failed: too many questions", fleet.StateOf("R0"));
    fleet.Accept("R1");
    fleet.Answered("R1", true, R"({"ok":true,"result":-1})", fleet.now);
    EXPECT_EQ("failed: the result of the command is -1", fleet.StateOf("R1"));
}

TEST(Rollout, NoAnswerToTheUpdateItselfIsNoFailureBecauseTheAgentEndsWithoutOne)
{
    Fleet fleet(Rules({"100%"}), 2);
    fleet.Next();
    for (const char *serial : {"R0", "R1"}) fleet.Accept(serial);
    fleet.Answered("R0", true, R"({"ok":false,"error":{"code":"no_answer","sentence":"s"}})", fleet.now);
    fleet.Answered("R1", true, R"({"ok":true,"result":0})", fleet.now);
    EXPECT_EQ("sent: ", fleet.StateOf("R0"));
    EXPECT_EQ("sent: ", fleet.StateOf("R1"));
}

TEST(Rollout, WhatIsNoAnswerAndNoReportChangesNothing)
{
    Fleet fleet(Rules({"100%"}), 1);
    fleet.Next();
    fleet.Accept("R0");
    for (const char *text :
         {"", "{", "[]", "7", R"({"serial":7})", R"({"serial":"R0"})", R"({"serial":"R0","fields":7})",
          R"({"serial":"R0","fields":{"toVersion":[],"result":{}}})", R"({"serial":"R9","fields":{}})"})
        fleet.Reported(text, fleet.now);
    EXPECT_EQ("sent: ", fleet.StateOf("R0"));
    fleet.Answered("R9", true, "{}", fleet.now);
    fleet.Answered("R0", true, R"({"error":7})", fleet.now);
    EXPECT_EQ("sent: ", fleet.StateOf("R0"));
}

// ---- When it stops

TEST(Rollout, ItStopsWhenMoreThanTheLimitOfThoseTriedHaveFailed)
{
    Fleet fleet(Rules({"100%"}, 20), 10);
    const auto asked = fleet.Next();
    for (int i = 0; i < 2; i++) fleet.Finish(asked[i], "2.0.0.7");
    EXPECT_TRUE(fleet.Next().empty());
    fleet.Finish(asked[2], "2.0.0.7");
    fleet.Next(Verdict::Stopped);
}

TEST(Rollout, TheLimitIsAPartOfTheSharesSoFarNotOfTheFleet)
{
    Fleet fleet(Rules({"1%", "100%"}, 1), 1000);
    const auto asked = fleet.Next();
    ASSERT_EQ(10u, asked.size());
    fleet.Finish(asked[0], "2.0.0.7"); // one in ten
    fleet.Next(Verdict::Stopped);
}

TEST(Rollout, WithALimitOfNothingTheFirstFailureStopsItAndNoFailureDoesNot)
{
    Fleet fleet(Rules({"100%"}, 0), 2);
    const auto asked = fleet.Next();
    fleet.Finish(asked[0]);
    EXPECT_TRUE(fleet.Next().empty());
    fleet.Finish(asked[1], "2.0.0.7");
    fleet.Next(Verdict::Stopped);
}

// ---- A later run

TEST(Rollout, ALaterRunGoesOnWhereTheFirstOneEnded)
{
    Fleet first(Rules({"100%"}, 50), 4);
    ASSERT_EQ(4u, first.Next().size());
    first.Finish("R0");            // back
    first.Finish("R1", "2.0.0.7"); // failed
    first.Accept("R2");            // under way
    first.Store();                 // and R3 is only asked
    EXPECT_EQ(3u, first.entries.size());

    Fleet second(Rules({"100%"}, 50));
    for (const auto &[serial, entry] : first.entries) second.Recorded(serial, entry);
    second.now += 60;
    second.Login("R0", "2.0.0.8");
    for (int i = 1; i < 4; i++) second.Login(Serial(i), "2.0.0.7");
    EXPECT_TRUE(second.Next().empty()); // first those that are still under way
    second.Login("R2", "2.0.0.8");
    EXPECT_EQ(std::vector<std::string>{"R3"}, second.Next());
    second.Finish("R3");
    second.Next(Verdict::Done);
    EXPECT_EQ("100%: 3 of 4 updated, 1 failed, 0 offline, 0 under way", second.Progress());
}

TEST(Rollout, WhatWasUnderWayFailsAtTheTimeOfItsFirstRun)
{
    Fleet first(Rules({"100%"}), 1);
    first.Next();
    first.Accept("R0");
    first.Store();
    Fleet second(Rules({"100%"}));
    second.Recorded("R0", first.entries.at("R0"));
    second.now += 900;
    second.Next(Verdict::Stopped);
}

TEST(Rollout, WhatHasFailedIsTriedAgainOnlyWhenTold)
{
    Fleet first(Rules({"100%"}), 1);
    first.Next();
    first.Finish("R0", "2.0.0.7");
    first.Store();
    RolloutRules rules = Rules({"100%"});
    for (const bool retry : {false, true}) {
        rules.retry = retry;
        Fleet later(rules);
        later.Recorded("R0", first.entries.at("R0"));
        later.Login("R0", "2.0.0.7");
        EXPECT_EQ(retry ? 1u : 0u, later.Next(retry ? Verdict::Going : Verdict::Stopped).size());
    }
}

TEST(Rollout, WhatWasUnderWayIsTriedAgainOnlyWhenTold)
{
    Fleet first(Rules({"100%"}), 1);
    first.Next();
    first.Accept("R0");
    first.Store();
    RolloutRules rules = Rules({"100%"});
    for (const bool retry : {false, true}) {
        rules.retry = retry;
        Fleet later(rules);
        later.Recorded("R0", first.entries.at("R0"));
        later.Login("R0", "2.0.0.7");
        EXPECT_EQ(retry ? 1u : 0u, later.Next().size());
    }
}

TEST(Rollout, EntriesOfAnotherGoalOrOfNobodyCountForNothing)
{
    Fleet first(Rules({"100%"}), 1);
    first.Next();
    first.Finish("R0", "2.0.0.7");
    first.Store();
    RolloutRules version = Rules({"100%"}), file = Rules({"100%"});
    version.version = "2.0.0.9";
    file.md5 = "0";
    for (const RolloutRules &rules : {version, file}) {
        Fleet later(rules);
        later.Recorded("R0", first.entries.at("R0"));
        later.Login("R0", "2.0.0.7");
        EXPECT_EQ(1u, later.Next().size());
    }
    Fleet other(Rules({"100%"}));
    for (const char *entry : {"", "{", "7", "[]", "{}", R"({"to":7})",
                              R"({"to":"2.0.0.8","md5":"d41d8cd98f00b204e9800998ecf8427e","state":7,"share":[]})"})
        other.Recorded("R0", entry);
    other.Login("R0", "2.0.0.7");
    EXPECT_EQ(1u, other.Next().size());
}

TEST(Rollout, AnEntryHasTheGoalTheShareAndWhatBecameOfIt)
{
    Fleet fleet(Rules({"100%"}), 1);
    fleet.Next();
    fleet.Accept("R0");
    fleet.now += 5;
    fleet.Report("R0", -1);
    fleet.Store();
    EXPECT_EQ(R"({"to":"2.0.0.8","md5":"d41d8cd98f00b204e9800998ecf8427e","share":"100%","state":"failed",)"
              R"("version":"2.0.0.7","sent":1700000000,"time":1700000005,)"
              R"("why":"it could not fetch the file, or has fetched another one"})",
              fleet.entries.at("R0"));
}

TEST(Rollout, ListedRoutersAreOfTheFleetBeforeTheyAreOnline)
{
    Fleet fleet(Rules({"100%"}));
    for (int i = 0; i < 3; i++) fleet.Listed(Serial(i));
    fleet.Login("R0", "2.0.0.7");
    EXPECT_TRUE(fleet.Next().size() == 1u);
    EXPECT_EQ("100%: 0 of 1 updated, 0 failed, 2 offline, 1 under way", fleet.Progress());
}
} // namespace
