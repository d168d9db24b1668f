#include "rules/eaccess.h"

#include <cerrno>

#include "core/PlugStatus.h"
#include "rules/SurfRules.h"
#include "rules/iot_poll.h"
#include "tests/unit/agent/SurfTest.h"

class EaccessTest : public SurfTest
{
  protected:
    void SetUp() override
    {
        SurfTest::SetUp();
        real_vap_int = no_feeling_int = no_feeling_port = 0;
        pollRun = 0;
    }

    // Stops the daemon that `thread` runs, once it is at its rest.
    static void Stop(Running *thread)
    {
        FakeClockAwaitSleepers(1);
        FakeClockAuto(true);
        pollStop();
        thread->Join();
    }
};

TEST_F(EaccessTest, StartsTheDaemonWithItsSettings)
{
    ASSERT_EQ(0, StartEaccess());
    FakeClockAwaitSleepers(1); // the rule thread
    EXPECT_EQ(1, pollRun);
    EXPECT_EQ(1, real_vap_int);
    EXPECT_EQ(99, no_feeling_int);
    EXPECT_EQ(6100, no_feeling_port);
    FakeClockAuto(true);
    StopEaccess();
    EXPECT_EQ(0, pollRun);
    const std::string log = Log();
    for (const char *text :
         {"]-> create thread epoll ok!\n", "]-> Rule table init done.\n", "]-> create TimeRuleProc ok!\n",
          "]-> TimeRuleProc runing...\n", "]-> TimeRuleProc return...\n", "[Plug->StopEaccess->",
          "]-> Stop Eaccess success !!!!!\n"})
        EXPECT_TRUE(Holds(log, text)) << text;
    EXPECT_FALSE(Holds(log, "not exit"));
    EXPECT_EQ("", StatusFile());
}

TEST_F(EaccessTest, AStopRightAfterTheStartIsNotLost)
{
    for (int i = 0; i < 50; i++) {
        FakeClockAuto(true);
        ASSERT_EQ(0, StartEaccess());
        StopEaccess();
        EXPECT_EQ(0, pollRun);
    }
}

TEST_F(EaccessTest, ARestartBeginsWithAnEmptyTable)
{
    for (int i = 0; i < 2; i++) {
        FakeClockAuto(false);
        ASSERT_EQ(0, StartEaccess());
        FakeClockAwaitSleepers(1);
        EXPECT_EQ(0, hash_table_size);
        EXPECT_EQ(nullptr, hash_table_lookup("A|1"));
        set_surf_rule("A", "1", NewRule(8, 0, 9, 0));
        EXPECT_EQ(1, hash_table_size);
        FakeClockAuto(true);
        StopEaccess();
    }
}

TEST_F(EaccessTest, EnforcesTheRulesThatCommandsStore)
{
    AddDevice("02000000000A", 1);
    FakeClockSetWallTime(1704067200 + 8 * 3600); // Monday, 08:00
    ASSERT_EQ(0, StartEaccess());
    FakeClockAwaitSleepers(1);
    const char rule[] = "{\"LIST\":[{\"FLAG\":\"1\",\"MAC\":\"02:00:00:00:00:0A\",\"DAY\":\"1\",\"START\":\"8:00\","
                        "\"STOP\":\"8:00\",\"ALLOW\":\"1\"}]}";
    EXPECT_EQ(SURF_DONE, ParseSurfRulesParam(rule));
    EXPECT_EQ(1, Access("02000000000A"));
    FakeClockAdvanceMs(30000);
    FakeClockAwaitSleepers(1);
    EXPECT_EQ(0, Access("02000000000A"));
    FakeClockAdvanceMs(30000); // 08:01
    FakeClockAwaitSleepers(1);
    EXPECT_EQ(1, Access("02000000000A"));
    FakeClockAuto(true);
    StopEaccess();
}

TEST_F(EaccessTest, ADaemonThreadThatCannotStartIsLoggedAndNotedInTheStatusFile)
{
    FakeFailThreadStart(1, EAGAIN);
    EXPECT_EQ(EAGAIN, StartEaccess());
    const std::string log = Log();
    EXPECT_TRUE(Holds(log, "[ERR] [Plug->StartEaccess->"));
    EXPECT_TRUE(Holds(log, "]-> Create EaccessThread feiled !!!!!\n"));
    EXPECT_EQ("102\n", StatusFile());
}

TEST_F(EaccessTest, ARuleThatIsStoredRightAfterTheStartStays)
{
    for (int i = 0; i < 200; i++) {
        FakeClockAuto(false);
        ASSERT_EQ(0, StartEaccess());
        set_surf_rule("A", "1", NewRule(8, 0, 9, 0));
        FakeClockAuto(true);
        StopEaccess();
        ASSERT_EQ(1, hash_table_size) << i;
        hash_table_destroy();
    }
}

TEST_F(EaccessTest, ARepeatedStartKeepsTheRulesStoredSinceTheFailure)
{
    struct {
        int thread; // which cannot be started: the daemon, its rule thread (after the event-poll thread)
        int error;
        int result;
    } const kFailures[] = {{1, EAGAIN, EAGAIN}, {3, EAGAIN, DAEMON_NOT_JOINED}, {3, -11, DAEMON_NO_THREAD}};
    for (const auto &failure : kFailures) {
        FakeClockAuto(false);
        FakeFailThreadStart(failure.thread, failure.error);
        EXPECT_EQ(failure.result, StartEaccess());
        set_surf_rule("A", "1", NewRule(8, 0, 9, 0));
        ASSERT_EQ(0, StartEaccess());
        EXPECT_EQ(1, pollRun);
        EXPECT_NE(nullptr, hash_table_lookup("A|1"));
        FakeClockAuto(true);
        StopEaccess();
        EXPECT_TRUE(Holds(Log(), "]-> TimeRuleProc return...\n"));
    }
}

TEST_F(EaccessTest, ADaemonThatIsStoppedReturnsZero)
{
    int result = 1;
    Running daemon([&] { result = no_feeling_daemon(5, 6, 7); });
    Stop(&daemon);
    EXPECT_EQ(0, result);
    EXPECT_EQ(5, real_vap_int);
    EXPECT_EQ(6, no_feeling_int);
    EXPECT_EQ(7, no_feeling_port);
}

TEST_F(EaccessTest, OnlyMinus1FailsTheEventPollThread)
{
    FakeFailThreadStart(1, -1);
    EXPECT_EQ(-3, no_feeling_daemon(1, 99, 6100));
    std::string log = Log();
    EXPECT_TRUE(Holds(log, "]-> create thread epoll error!\n"));
    EXPECT_FALSE(Holds(log, "Rule table init done."));

    int result = 1;
    FakeFailThreadStart(1, EAGAIN);
    Running daemon([&] { result = no_feeling_daemon(1, 99, 6100); });
    Stop(&daemon);
    EXPECT_EQ(0, result);
    log = Log();
    EXPECT_TRUE(Holds(log, "]-> create thread epoll ok!\n"));
    EXPECT_TRUE(Holds(log, "]->  thread is not exit...\n"));
}

TEST_F(EaccessTest, AnyNegativeNumberFailsTheRuleThread)
{
    FakeFailThreadStart(2, -11);
    EXPECT_EQ(-3, no_feeling_daemon(1, 99, 6100));
    EXPECT_TRUE(Holds(Log(), "]-> create TimeRuleProc error!\n"));

    FakeFailThreadStart(2, EAGAIN);
    EXPECT_EQ(-7, no_feeling_daemon(1, 99, 6100)); // there is nothing to join
    const std::string log = Log();
    EXPECT_TRUE(Holds(log, "]-> create TimeRuleProc ok!\n"));
    EXPECT_TRUE(Holds(log, "[ERR] [eaccess->no_feeling_daemon->"));
    EXPECT_TRUE(Holds(log, "]->  thread is not exit...\n"));
}

TEST_F(EaccessTest, AThreadThatCannotBeJoinedIsLoggedAndForTheRuleThreadTheResultIsMinus7)
{
    for (int nth : {1, 2}) {
        FakeClockAuto(false);
        int result = 1;
        FakeFailThreadJoin(nth, ESRCH);
        Running daemon([&] { result = no_feeling_daemon(1, 99, 6100); });
        Stop(&daemon);
        EXPECT_EQ(nth == 1 ? 0 : -7, result);
        EXPECT_TRUE(Holds(Log(), "]->  thread is not exit...\n"));
    }
}

TEST_F(EaccessTest, SettersStoreTheirSetting)
{
    EXPECT_EQ(0, set_real_vap_int(-1));
    EXPECT_EQ(0, set_no_feeling_int(2));
    EXPECT_EQ(0, set_no_feeling_port(65536));
    EXPECT_EQ(-1, real_vap_int);
    EXPECT_EQ(2, no_feeling_int);
    EXPECT_EQ(65536, no_feeling_port);
}
