#include "rules/Bandwidth.h"

#include <cerrno>
#include <map>

#include "core/Common.h"
#include "rules/BadItem.h"
#include "subdev/SubdevMutex.h"
#include "tests/data/HostileTexts.h"
#include "tests/unit/agent/LinkTest.h"

namespace
{

typedef std::vector<std::string> Calls;
typedef std::map<std::string, std::string> Item; // names to values in JSON

Item Limits(const std::string &up = "2048", const std::string &down = "-1",
            const std::string &mac = "02:11:22:aa:BB:cc", const std::string &flag = "1")
{
    return {{"FLAG", JsonString(flag)}, {"MAC", JsonString(mac)}, {"UP", JsonString(up)}, {"DOWN", JsonString(down)}};
}

Item With(Item item, const std::string &name, const std::string &value)
{
    item[name] = value;
    return item;
}

Item Without(Item item, const std::string &name)
{
    item.erase(name);
    return item;
}

std::string Text(const std::vector<Item> &items)
{
    std::string list;
    for (const Item &item : items) {
        std::string members;
        for (const auto &member : item)
            members += (members.empty() ? "\"" : ",\"") + member.first + "\":" + member.second;
        list += (list.empty() ? "{" : ",{") + members + "}";
    }
    return "{\"LIST\":[" + list + "]}";
}

int Parse(const std::vector<Item> &items)
{
    return ParseTcParam(Text(items).c_str());
}

Calls SetBoth(const std::string &mac, const std::string &up, const std::string &down)
{
    return {"set_dev_us_max_bw(" + mac + ", " + up + ")", "set_dev_ds_max_bw(" + mac + ", " + down + ")"};
}

Calls operator+(Calls first, const Calls &second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

const std::string kMac = "02:11:22:AA:BB:CC";
const std::string kOtherMac = "02:11:22:33:44:01";

class Bandwidth : public LinkTest
{
  protected:
    void SetUp() override
    {
        LinkTest::SetUp();
        Log();
    }

    // Carries out a command with this item between two good ones. Checks that the item is read again every second,
    // that the first good one is applied, and that the end of the session ends the loop.
    void ExpectStay(const Item &bad, const std::string &text)
    {
        RecordingSdkReset();
        Connect();
        int result = 0;
        Running command([&] { result = Parse({Limits("1", "2"), bad, Limits("3", "4", kOtherMac)}); });
        for (int second = 0; second < 3; second++) {
            FakeClockAwaitSleepers(1);
            EXPECT_EQ(1000, FakeClockNextDeadlineMs());
            EXPECT_EQ(1u, CountOf(Log(), "]-> " + text + "\n"));
            FakeClockAdvanceMs(1000);
        }
        FakeClockAwaitSleepers(1);
        Running deleter([this] { DeleteServer(&mContext); });
        command.Join(); // although the clock stands still
        EXPECT_EQ(kLeftBadItem, result);
        EXPECT_EQ(SetBoth(kMac, "1", "2"), gSdk.calls);
        FakeClockAwaitSleepers(1);
        FakeClockAdvanceMs(1000); // the deleter's own pause
    }
};

} // namespace

// ---- Limits ----

TEST_F(Bandwidth, FlagOneSetsUpThenDown)
{
    EXPECT_EQ(0, Parse({Limits("2048", "4096")}));
    EXPECT_EQ(SetBoth(kMac, "2048", "4096"), gSdk.calls);
}

TEST_F(Bandwidth, ANegativeLimitIsPassedOnUnchanged)
{
    EXPECT_EQ(0, Parse({Limits("2048", "-1")}));
    EXPECT_EQ(SetBoth(kMac, "2048", "-1"), gSdk.calls);
}

TEST_F(Bandwidth, ALimitThatIsNoNumberIsZero)
{
    EXPECT_EQ(0, Parse({Limits("abc", "")}));
    EXPECT_EQ(SetBoth(kMac, "0", "0"), gSdk.calls);
}

TEST_F(Bandwidth, ALimitIsReadUpToTheFirstCharacterThatIsNoDigit)
{
    EXPECT_EQ(0, Parse({Limits(" 12kB", "+7.9")}));
    EXPECT_EQ(SetBoth(kMac, "12", "7"), gSdk.calls);
}

TEST_F(Bandwidth, ALimitBeyond32BitsIsTheNearestThatFits)
{
    EXPECT_EQ(0, Parse({Limits("2147483647", "-2147483648")}));
    EXPECT_EQ(0, Parse({Limits("2147483648", "-2147483649")}));
    EXPECT_EQ(0, Parse({Limits(std::string(100, '9'), "-" + std::string(100, '9'))}));
    const Calls most = SetBoth(kMac, "2147483647", "-2147483648");
    EXPECT_EQ(most + most + most, gSdk.calls);
}

TEST_F(Bandwidth, FlagZeroClearsBothWhateverTheLimitsAre)
{
    EXPECT_EQ(0, Parse({Limits("2048", "4096", "02:11:22:aa:BB:cc", "0")}));
    EXPECT_EQ(SetBoth(kMac, "0", "0"), gSdk.calls);
}

TEST_F(Bandwidth, ItemsAreAppliedInTheirOrder)
{
    EXPECT_EQ(0, Parse({Limits("1", "2"), Limits("3", "4", kOtherMac), Limits("5", "6", kMac, "0")}));
    EXPECT_EQ(SetBoth(kMac, "1", "2") + SetBoth(kOtherMac, "3", "4") + SetBoth(kMac, "0", "0"), gSdk.calls);
}

TEST_F(Bandwidth, ACommandOf128Items)
{
    EXPECT_EQ(0, Parse(std::vector<Item>(128, Limits("1", "2"))));
    EXPECT_EQ(256u, gSdk.calls.size());
}

TEST_F(Bandwidth, BytesThatCannotBeReadFromAMacAreZero)
{
    const std::map<std::string, std::string> macs = {{"02:11:22", "02:11:22:00:00:00"},
                                                     {"02", "02:00:00:00:00:00"},
                                                     {"2:1:A:b:0:f", "02:01:0A:0B:00:0F"},
                                                     {"02-11-22-33-44-55", "02:00:00:00:00:00"},
                                                     {"zz", "00:00:00:00:00:00"},
                                                     {":02:11", "00:00:00:00:00:00"},
                                                     {"02:11:22:33:44:55:66", "02:11:22:33:44:55"},
                                                     {" 02: 11:22:33:44:55", "02:11:22:33:44:55"}};
    for (const auto &mac : macs) {
        RecordingSdkReset();
        EXPECT_EQ(0, Parse({Limits("1", "2"), Limits("3", "4", mac.first)})); // nothing of the first one's MAC is left
        EXPECT_EQ(SetBoth(kMac, "1", "2") + SetBoth(mac.second, "3", "4"), gSdk.calls) << mac.first;
    }
}

TEST_F(Bandwidth, HostileTextsInPlaceOfLimitsAreReadAsNumbersOrZero)
{
    for (const HostileText &hostile : HostileTexts()) {
        EXPECT_EQ(0, Parse({Limits(hostile.text, hostile.text)})) << hostile.text;
        EXPECT_EQ(0, Parse({Limits("1", "2", "02:11:22:33:44:55" + hostile.text)})) << hostile.text;
    }
    EXPECT_EQ(4 * HostileTexts().size(), gSdk.calls.size());
    EXPECT_TRUE(FakeCommands().empty());
}

// ---- Results ----

TEST_F(Bandwidth, AMissingTextReturns1)
{
    EXPECT_EQ(1, ParseTcParam(nullptr));
    EXPECT_TRUE(gSdk.calls.empty());
}

TEST_F(Bandwidth, InvalidJsonReturns2AndIsLogged)
{
    const std::string whole = Text({Limits()});
    for (size_t length = 0; length < whole.size(); length++)
        EXPECT_EQ(2, ParseTcParam(whole.substr(0, length).c_str())) << length;
    EXPECT_TRUE(gSdk.calls.empty());
    Log();
    EXPECT_EQ(2, ParseTcParam("[[["));
    const std::string log = Log();
    EXPECT_NE(std::string::npos, log.find("[DEBUG] [RouteFunc->ParseTcParam->")) << log;
    EXPECT_TRUE(log.find("]-> Parse json failed.\n\n") != std::string::npos) << log;
}

TEST_F(Bandwidth, AMissingOrEmptyListIsDone)
{
    for (const char *text : {"{}", "{\"LIST\":[]}", "{\"LIST\":null}", "{\"LIST\":{}}", "{\"LIST\":\"1\"}",
                             "{\"LIST\":1}", "[]", "\"LIST\"", "1", "null", "[{\"LIST\":[]}]"})
        EXPECT_EQ(0, ParseTcParam(text)) << text;
    const std::string item = "{\"FLAG\":\"1\",\"MAC\":\"02:11:22:33:44:55\",\"UP\":\"1\",\"DOWN\":\"2\"}";
    EXPECT_EQ(0, ParseTcParam(item.c_str()));
    EXPECT_EQ(0, ParseTcParam(("{\"LIST\":" + item + "}").c_str()));
    EXPECT_EQ(0, ParseTcParam(("{\"LIST\":{\"0\":" + item + "}}").c_str()));
    EXPECT_TRUE(gSdk.calls.empty());
}

TEST_F(Bandwidth, EachMissingMemberHasItsResult)
{
    EXPECT_EQ(3, Parse({Without(Limits(), "FLAG")}));
    EXPECT_EQ(4, Parse({Without(Limits(), "MAC")}));
    EXPECT_EQ(5, Parse({Without(Limits(), "UP")}));
    EXPECT_EQ(6, Parse({Without(Limits(), "DOWN")}));
    EXPECT_TRUE(gSdk.calls.empty());
}

TEST_F(Bandwidth, TheFirstMissingMemberDecidesEvenBeforeAWrongOne)
{
    EXPECT_EQ(3, Parse({Item()}));
    EXPECT_EQ(4, Parse({Without(Without(Limits(), "MAC"), "DOWN")}));
    EXPECT_EQ(6, Parse({Without(With(Limits(), "FLAG", "7"), "DOWN")}));
}

TEST_F(Bandwidth, AnItemThatIsNoObjectLacksTheFlag)
{
    for (const char *item : {"1", "\"FLAG\"", "null", "[]", "[\"1\"]"})
        EXPECT_EQ(3, ParseTcParam(("{\"LIST\":[" + std::string(item) + "]}").c_str())) << item;
}

TEST_F(Bandwidth, AnIncompleteItemEndsTheCommandAndTheItemsBeforeItStayApplied)
{
    EXPECT_EQ(6, Parse({Limits("1", "2"), Without(Limits(), "DOWN"), Limits("3", "4", kOtherMac)}));
    EXPECT_EQ(SetBoth(kMac, "1", "2"), gSdk.calls);
}

// ---- The router ----

TEST_F(Bandwidth, AFailureOfTheRouterIsOnlyLogged)
{
    gSdk.results["set_dev_us_max_bw"] = -7;
    gSdk.results["set_dev_ds_max_bw"] = 9;
    EXPECT_EQ(0, Parse({Limits("1", "2"), Limits("3", "4", kOtherMac)}));
    EXPECT_EQ(SetBoth(kMac, "1", "2") + SetBoth(kOtherMac, "3", "4"), gSdk.calls);
    const std::string log = Log();
    EXPECT_EQ(2u, CountOf(log, "]-> set_dev_us_max_bw result: -7\n\n"));
    EXPECT_EQ(2u, CountOf(log, "]-> set_dev_ds_max_bw result: 9\n\n"));
}

TEST_F(Bandwidth, EveryCallHoldsTheLockOfTheDeviceTableAndItIsFreeAfterwards)
{
    size_t locked = 0;
    gSdk.onCall = [&](const std::string &) { locked += pthread_mutex_trylock(&SubdevMutex) == EBUSY; };
    Parse({Limits("1", "2"), Limits("3", "4", kMac, "0")});
    EXPECT_EQ(4u, locked);
    ASSERT_EQ(0, pthread_mutex_trylock(&SubdevMutex));
    pthread_mutex_unlock(&SubdevMutex);
}

TEST_F(Bandwidth, WithoutTheLockNoCallIsMadeAndTheErrorIsLogged)
{
    ASSERT_EQ(0, pthread_mutex_lock(&SubdevMutex));
    EXPECT_EQ(0, Parse({Limits()}));
    ASSERT_EQ(0, pthread_mutex_unlock(&SubdevMutex));
    EXPECT_TRUE(gSdk.calls.empty());
    const std::string log = Log();
    EXPECT_EQ(2u, CountOf(log, "Get SubdevMutex failed\n"));
    EXPECT_EQ(1u, CountOf(log, "]-> set_dev_us_max_bw result: " + std::to_string(EDEADLK) + "\n"));
}

// ---- Items that are stayed on ----

TEST_F(Bandwidth, TheThreadStaysOnAnotherFlag)
{
    ExpectStay(Limits("5", "6", kMac, "2"), "Wrong tc rule param flag");
}

TEST_F(Bandwidth, TheWholeFlagCounts)
{
    ExpectStay(Limits("5", "6", kMac, "10"), "Wrong tc rule param flag");
}

TEST_F(Bandwidth, TheThreadStaysOnAnEmptyFlag)
{
    ExpectStay(Limits("5", "6", kMac, ""), "Wrong tc rule param flag");
}

TEST_F(Bandwidth, TheThreadStaysOnAnEmptyMac)
{
    ExpectStay(Limits("5", "6", ""), "Wrong tc rule param dev_mac");
}

TEST_F(Bandwidth, TheThreadStaysOnAMacOfBlanks)
{
    ExpectStay(Limits("5", "6", "  "), "Wrong tc rule param dev_mac");
}

TEST_F(Bandwidth, AnEmptyMacIsFoundBeforeAWrongFlag)
{
    ExpectStay(Limits("5", "6", "", "2"), "Wrong tc rule param dev_mac");
}

class BandwidthNoText : public Bandwidth, public testing::WithParamInterface<const char *>
{
};

TEST_P(BandwidthNoText, IsStayedOn)
{
    ExpectStay(With(Limits(), GetParam(), "1"), "Wrong tc rule param");
}

INSTANTIATE_TEST_SUITE_P(, BandwidthNoText, testing::Values("FLAG", "MAC", "UP", "DOWN"),
                         [](const auto &tested) { return std::string(tested.param); });

TEST_F(Bandwidth, TheThreadStaysOnAnyValueThatIsNoText)
{
    // Without a session the command is let go after the first look.
    for (const std::string &value : HostileValues())
        for (const char *name : {"FLAG", "MAC", "UP", "DOWN"}) {
            EXPECT_EQ(kLeftBadItem, Parse({With(Limits(), name, value)})) << name << " " << value;
            EXPECT_EQ(1u, CountOf(Log(), "]-> Wrong tc rule param\n")) << name << " " << value;
        }
    EXPECT_TRUE(gSdk.calls.empty());
}

TEST_F(Bandwidth, TheLockOfTheDeviceTableIsFreeWhileTheThreadStays)
{
    Connect();
    Running command([&] { Parse({Limits(), Limits("5", "6", kMac, "2")}); });
    FakeClockAwaitSleepers(1);
    EXPECT_EQ(0, pthread_mutex_trylock(&SubdevMutex));
    pthread_mutex_unlock(&SubdevMutex);
    Stop();
}

// ---- Log ----

TEST_F(Bandwidth, AnItemIsLoggedUnchanged)
{
    Parse({Limits("2048", "-1")});
    EXPECT_NE(std::string::npos,
              Log().find("]-> \nflag:1\n dev_mac:02:11:22:aa:BB:cc\n up_flow:2048\n down_flow:-1\n\n\n\n"));
}

TEST_F(Bandwidth, ClearingIsLoggedBeforeTheCalls)
{
    Parse({Limits("1", "2", kMac, "0")});
    const std::string log = Log();
    const size_t clear = log.find("]-> flag = 0, clean tc rules\n");
    ASSERT_NE(std::string::npos, clear);
    EXPECT_LT(clear, log.find("set_dev_us_max_bw result: 0\n"));
    EXPECT_LT(log.find("set_dev_us_max_bw result: 0\n"), log.find("set_dev_ds_max_bw result: 0\n"));
}

TEST_F(Bandwidth, TheCallsAreMadeEvenIfTheirResultsAreNotLogged)
{
    d_set_log_level(LOG_LEVEL_NONE);
    EXPECT_EQ(0, Parse({Limits("1", "2")}));
    EXPECT_EQ(SetBoth(kMac, "1", "2"), gSdk.calls);
}
