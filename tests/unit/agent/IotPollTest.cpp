#include "tests/unit/agent/IotPollTest.h"

#include <cerrno>
#include <cstring>

#include "core/Common.h"
#include "os/OsClock.h"
#include "platform/Settings.h"
#include "subdev/SubdevMutex.h"

// ---- The pass ----

TEST_F(IotPollTest, SwitchesADeviceOffInsideARangeAndOnOutsideOfAll)
{
    AddDevice(kBytes, 1);
    Add("1", 8, 0, 9, 30);
    Add("1", 20, 0, 21, 0);
    EXPECT_EQ(1, AccessAt(0, 7, 59, 59));
    EXPECT_EQ(0, AccessAt(0, 8, 0));
    EXPECT_EQ(0, AccessAt(0, 9, 30, 59));
    EXPECT_EQ(1, AccessAt(0, 9, 31));
    EXPECT_EQ(0, AccessAt(0, 20, 30));
    EXPECT_EQ(1, AccessAt(0, 21, 1));
}

TEST_F(IotPollTest, LogsWhatItFindsAndDoes)
{
    AddDevice(kBytes, 1);
    AddDevice("02000000000B", 1);
    Add("1", 8, 0, 9, 0);
    Log();
    AccessAt(0, 8, 30);
    std::string log = Log();
    EXPECT_TRUE(Holds(log, "[iot_poll->surf_rule_func->"));
    EXPECT_TRUE(Holds(log, "]-> Sub dev num:[2]\n"));
    EXPECT_TRUE(Holds(log, "]-> Found rule for : 02:00:00:00:00:0A|1\n"));
    EXPECT_TRUE(Holds(log, "]-> set_dev_access_control for: 02:00:00:00:00:0A to 0\n"));
    EXPECT_TRUE(Holds(log, "]-> Can't find rule for : 02:00:00:00:00:0B|1\n"));
    AccessAt(0, 9, 1);
    log = Log();
    EXPECT_TRUE(Holds(log, "]-> set_dev_access_control for: 02:00:00:00:00:0A to 1\n"));
}

TEST_F(IotPollTest, WritesTheRecordWithOnlyAccessAndMarkChanged)
{
    AddDevice(kBytes, 1);
    memset(gSdk.devices[0].name, 'n', 16);
    gSdk.devices[0].link = 2;
    gSdk.devices[0].reserved[0] = 0x51;
    gSdk.devices[0].ip = 0x0A01A8C0;
    Add("1", 8, 0, 9, 0);
    AccessAt(0, 8, 0);
    ASSERT_EQ(2u, gSdk.calls.size());
    EXPECT_EQ("get_devs_cfg", gSdk.calls[0]);
    // MAC, name, reserved, changed 1, link, access 0, reserved2, port, address
    EXPECT_EQ("set_dev_access_control(02000000000A"
              "6E6E6E6E6E6E6E6E6E6E6E6E6E6E6E6E"
              "5100"
              "01"
              "02"
              "00"
              "00"
              "0000"
              "C0A8010A)",
              gSdk.calls[1]);
}

TEST_F(IotPollTest, OnlyRunModeOneMarksTheRecordAsChanged)
{
    AddDevice(kBytes, 1);
    Add("1", 8, 0, 9, 0);
    runMode = 0;
    EXPECT_EQ(0, AccessAt(0, 8, 0));
    EXPECT_EQ(1, AccessAt(0, 9, 1));
    EXPECT_EQ(0, gSdk.devices[0].changed);
    runMode = 1;
    EXPECT_EQ(0, AccessAt(0, 8, 0));
    EXPECT_EQ(1, gSdk.devices[0].changed);
}

TEST_F(IotPollTest, ADeviceInTheRightStateIsNotWritten)
{
    AddDevice(kBytes, 1);
    Add("1", 8, 0, 9, 0);
    AccessAt(0, 8, 0);
    EXPECT_EQ(1u, Writes());
    for (int second = 30; second < 3600; second += 30) AccessAt(0, 8, second / 60, second % 60);
    EXPECT_EQ(0u, Writes());
    AccessAt(0, 9, 1);
    EXPECT_EQ(1u, Writes());
    AccessAt(0, 9, 2);
    EXPECT_EQ(0u, Writes());
}

TEST_F(IotPollTest, ADeviceWithoutAnEntryForTheWeekdayIsNotWritten)
{
    AddDevice(kBytes, 0);
    AddDevice("02000000000B", 0);
    Add("2", 0, 0, 23, 59);
    EXPECT_EQ(0, AccessAt(0, 12, 0));
    EXPECT_EQ(0u, Writes());
}

TEST_F(IotPollTest, ADeviceWhoseListIsEmptyIsNotWritten)
{
    AddDevice(kBytes, 0);
    hash_table_insert("02:00:00:00:00:0A|1", nullptr);
    EXPECT_EQ(0, AccessAt(0, 12, 0));
    gSdk.devices[0].access = 1;
    EXPECT_EQ(1, AccessAt(0, 12, 0));
    EXPECT_EQ(0u, Writes());
    EXPECT_TRUE(Holds(Log(), "Found rule for"));
}

TEST_F(IotPollTest, AnAccessFlagThatIsNeither1Nor0IsNotWritten)
{
    AddDevice(kBytes, 2);
    Add("1", 8, 0, 9, 0);
    EXPECT_EQ(2, AccessAt(0, 8, 30));
    EXPECT_EQ(2, AccessAt(0, 12, 0));
    EXPECT_EQ(0u, Writes());
}

TEST_F(IotPollTest, DevicesAreLookedUpInUpperCase)
{
    AddDevice("AABBCCDDEE0F", 1);
    set_surf_rule("aa:bb:cc:dd:ee:0f", "1", NewRule(0, 0, 23, 59));
    SetTime(0, 12, 0);
    surf_rule_func();
    EXPECT_EQ(1, Access("AABBCCDDEE0F"));
    set_surf_rule("AA:BB:CC:DD:EE:0F", "1", NewRule(0, 0, 23, 59));
    surf_rule_func();
    EXPECT_EQ(0, Access("AABBCCDDEE0F"));
}

TEST_F(IotPollTest, EachDeviceFollowsItsOwnRules)
{
    AddDevice("02000000000A", 1);
    AddDevice("02000000000B", 1);
    AddDevice("02000000000C", 0);
    set_surf_rule("02:00:00:00:00:0A", "1", NewRule(8, 0, 9, 0));
    set_surf_rule("02:00:00:00:00:0B", "1", NewRule(10, 0, 11, 0));
    set_surf_rule("02:00:00:00:00:0C", "1", NewRule(10, 0, 11, 0));
    SetTime(0, 8, 30);
    surf_rule_func();
    EXPECT_EQ(0, Access("02000000000A"));
    EXPECT_EQ(1, Access("02000000000B"));
    EXPECT_EQ(1, Access("02000000000C"));
}

TEST_F(IotPollTest, AFailedSettingIsRepeatedAtTheNextPass)
{
    AddDevice(kBytes, 1);
    Add("1", 8, 0, 9, 0);
    gSdk.onCall = nullptr; // the router keeps nothing
    gSdk.results["set_dev_access_control"] = -1;
    AccessAt(0, 8, 0);
    AccessAt(0, 8, 0, 30);
    EXPECT_EQ(2u, Writes());
}

// ---- The device list ----

static std::string MacOf(int device)
{
    char text[13];
    snprintf(text, sizeof text, "0200000001%02X", device);
    return text;
}

static std::string MacTextOf(int device)
{
    char text[18];
    snprintf(text, sizeof text, "02:00:00:00:01:%02X", device);
    return text;
}

TEST_F(IotPollTest, APassHandlesAtMost128Devices)
{
    for (int i = 0; i < 129; i++) {
        AddDevice(MacOf(i), 1);
        set_surf_rule(MacTextOf(i).c_str(), "1", NewRule(8, 0, 9, 0));
    }
    SetTime(0, 8, 0);
    surf_rule_func();
    for (int i = 0; i < 128; i++) EXPECT_EQ(0, Access(MacOf(i))) << i;
    EXPECT_EQ(1, Access(MacOf(128)));
    EXPECT_TRUE(Holds(Log(), "Sub dev num:[129]"));
}

TEST_F(IotPollTest, ACountAboveTheRoomIsLimitedToIt)
{
    for (int i = 0; i < 200; i++) AddDevice(MacOf(i), 1);
    set_surf_rule(MacTextOf(127).c_str(), "1", NewRule(8, 0, 9, 0));
    for (uint64_t count : {200u, 65535u}) {
        gSdk.numbers["get_devs_cfg"] = count;
        SetTime(0, 8, 0);
        surf_rule_func();
        EXPECT_EQ(0, Access(MacOf(127)));
        SetTime(0, 9, 1);
        surf_rule_func();
        EXPECT_EQ(1, Access(MacOf(127)));
    }
    EXPECT_EQ(4u, Writes());
}

TEST_F(IotPollTest, WithoutDevicesThereIsNothingToDo)
{
    Add("1", 0, 0, 23, 59);
    SetTime(0, 8, 0);
    surf_rule_func();
    EXPECT_TRUE(Holds(Log(), "Sub dev num:[0]"));
    EXPECT_EQ(0u, Writes());
}

TEST_F(IotPollTest, AFailedListEndsThePassEvenIfTheRouterFilledItIn)
{
    AddDevice(kBytes, 1);
    Add("1", 0, 0, 23, 59);
    gSdk.results["get_devs_cfg"] = 5;
    gSdk.careless = true;
    SetTime(0, 8, 0);
    surf_rule_func();
    EXPECT_TRUE(Holds(Log(), "]-> get_devs_cfg failed\n"));
    EXPECT_EQ(0u, Writes());
    EXPECT_EQ(0, pthread_mutex_trylock(&SubdevMutex)); // let go
    pthread_mutex_unlock(&SubdevMutex);
}

// ---- The locks ----

TEST_F(IotPollTest, HoldsTheDeviceTableThroughoutAndTheRulesNotDuringCalls)
{
    AddDevice(kBytes, 1);
    Add("1", 0, 0, 23, 59);
    const auto keep = gSdk.onCall;
    int asked = 0;
    gSdk.onCall = [&](const std::string &name) {
        asked++;
        EXPECT_EQ(EDEADLK, pthread_mutex_lock(&SubdevMutex)) << name; // held, and by this thread
        EXPECT_EQ(0, pthread_mutex_trylock(&hashTableMutex)) << name;
        pthread_mutex_unlock(&hashTableMutex);
        keep(name);
    };
    EXPECT_EQ(0, AccessAt(0, 8, 0));
    EXPECT_EQ(2, asked);
}

TEST_F(IotPollTest, APassThatCannotLockTheDeviceTableIsSkipped)
{
    AddDevice(kBytes, 1);
    Add("1", 0, 0, 23, 59);
    ASSERT_EQ(0, pthread_mutex_lock(&SubdevMutex)); // by this thread, so that the lock fails
    SetTime(0, 8, 0);
    surf_rule_func();
    pthread_mutex_unlock(&SubdevMutex);
    EXPECT_TRUE(Holds(Log(), "]-> SubdevMutex used\n"));
    EXPECT_TRUE(gSdk.calls.empty());
}

// ---- The rule thread ----

class RuleThreadTest : public IotPollTest
{
  protected:
    void SetUp() override
    {
        IotPollTest::SetUp();
        FakeClockSetWallTime(1704067200); // Monday, 00:00
        pollStart();
    }

    size_t Passes() const
    {
        size_t count = 0;
        for (const std::string &call : gSdk.calls) count += call == "get_devs_cfg";
        return count;
    }

    static void Stop(Running *thread)
    {
        FakeClockAuto(true); // the two seconds of pollStop()
        pollStop();
        thread->Join();
        FakeClockAuto(false);
    }
};

TEST_F(RuleThreadTest, MakesAPassEveryThirtySecondsAndTheFirstAfterThirty)
{
    Running thread([] { TimeRuleProc(nullptr); });
    FakeClockAwaitSleepers(1);
    for (size_t pass = 1; pass <= 5; pass++) {
        EXPECT_EQ(30000, FakeClockNextDeadlineMs());
        FakeClockAdvanceMs(29999);
        FakeClockAwaitSleepers(1);
        EXPECT_EQ(pass - 1, Passes());
        FakeClockAdvanceMs(1);
        FakeClockAwaitSleepers(1);
        EXPECT_EQ(pass, Passes());
    }
    Stop(&thread);
    EXPECT_EQ(5u, Passes());
    const std::string log = Log();
    EXPECT_TRUE(Holds(log, "]-> TimeRuleProc runing...\n"));
    EXPECT_TRUE(Holds(log, "]-> TimeRuleProc return...\n"));
}

TEST_F(RuleThreadTest, CountsThirtySecondsFromTheEndOfAPass)
{
    gSdk.onCall = [](const std::string &) { FakeClockAdvanceMs(7000); }; // a slow router
    Running thread([] { TimeRuleProc(nullptr); });
    FakeClockAwaitSleepers(1);
    FakeClockAdvanceMs(30000);
    FakeClockAwaitSleepers(1);
    EXPECT_EQ(1u, Passes());
    EXPECT_EQ(30000, FakeClockNextDeadlineMs());
    Stop(&thread);
}

TEST_F(RuleThreadTest, EndsAtOnceWithoutAnotherPassWhenStopped)
{
    Running thread([] { TimeRuleProc(nullptr); });
    FakeClockAwaitSleepers(1);
    FakeClockAdvanceMs(29999);
    FakeClockAwaitSleepers(1);
    Stop(&thread); // although this brings the clock past the thirty seconds
    EXPECT_EQ(0u, Passes());
}

TEST_F(RuleThreadTest, AStopDuringAPassIsNoticedAfterIt)
{
    gSdk.onCall = [](const std::string &) { pollRun = 0; };
    Running thread([] { TimeRuleProc(nullptr); });
    FakeClockAwaitSleepers(1);
    FakeClockAdvanceMs(30000);
    thread.Join();
    EXPECT_EQ(1u, Passes());
}

TEST_F(RuleThreadTest, AJumpOfTheClockDoesNotMoveThePasses)
{
    Running thread([] { TimeRuleProc(nullptr); });
    FakeClockAwaitSleepers(1);
    FakeClockAdvanceMs(10000);
    FakeClockAwaitSleepers(1);
    FakeClockSetWallTime(2000000000);
    EXPECT_EQ(20000, FakeClockNextDeadlineMs());
    FakeClockSetWallTime(0);
    EXPECT_EQ(20000, FakeClockNextDeadlineMs());
    Stop(&thread);
}

TEST_F(RuleThreadTest, EnforcesOverMidnight)
{
    AddDevice(kBytes, 1);
    Add("1", 23, 59, 23, 59);
    Add("2", 0, 1, 0, 1);
    FakeClockSetWallTime(1704067200 + 23 * 3600 + 58 * 60); // Monday, 23:58:00
    Running thread([] { TimeRuleProc(nullptr); });
    std::string seen;
    for (int pass = 0; pass < 9; pass++) {
        FakeClockAwaitSleepers(1);
        FakeClockAdvanceMs(30000);
        FakeClockAwaitSleepers(1);
        seen += Access(kBytes) ? '1' : '0';
    }
    EXPECT_EQ("100110011", seen); // 23:58:30, 23:59:00, ... 00:02:30
    Stop(&thread);
    EXPECT_EQ(4u, Writes());
}

TEST_F(RuleThreadTest, StoppingTakesTwoSeconds)
{
    FakeClockAuto(true);
    pollStop();
    EXPECT_EQ(2000, OsNowMs());
    EXPECT_EQ(0, pollRun);
}

// ---- The event-poll thread ----

TEST_F(IotPollTest, TheEventPollThreadEndsAtOnce)
{
    int32_t port = 6100;
    EXPECT_EQ(0, iot_epoll(port));
    EXPECT_EQ(nullptr, thread_epoll(&port));
    EXPECT_EQ("", Log());
}
