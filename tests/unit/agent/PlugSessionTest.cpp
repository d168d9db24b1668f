// The cycle with a platform that accepts the agent: whole sessions, their duties and their ends.
#include <cerrno>
#include <cstring>
#include <memory>
#include <unistd.h>

#include "Plug.h"
#include "os/OsClock.h"
#include "platform/Protool.h"
#include "platform/Settings.h"
#include "platform/TcpServer.h"
#include "tests/unit/agent/FeatureSpy.h"
#include "tests/unit/agent/PlatformSide.h"

class PlugSessionTest : public AgentTest
{
  protected:
    void SetUp() override
    {
        AgentTest::SetUp();
        strcpy(g_pin_code, kTestPin);
        strcpy(gProtoolKey, kTestKey);
        LetIn();
    }

    void LetIn()
    {
        runMode = 0;
        regist_port = registration.Port();
        strcpy(RegisterIpAddr1, "127.0.0.1");
    }

    // The next `count` cycles fail to register.
    void Fail(int count)
    {
        FakeClockAuto(true);
        regist_port = unused.Number();
        for (int i = 0; i < count; i++) PlugCycle();
        FakeClockAuto(false);
        LetIn();
    }

    void BeginCycle() { agent = std::make_unique<Running>(PlugCycle); }

    void LetTheConnectionClose()
    {
        ASSERT_TRUE(Within([] { return FakeClockNextDeadlineMs() == 1000; }));
        FakeClockAdvanceMs(1000);
    }

    // Answers the registration; the agent is told to log in at `port`.
    void Register(uint16_t port)
    {
        ASSERT_TRUE(registration.Accept());
        ASSERT_FALSE(registration.ReceiveFrame().empty());
        FakeClockAwaitSleepers(1);
        const Bytes record =
            Bytes(34, 1) + Hex("7F 00 00 01") + Bytes{uint8_t(port), uint8_t(port >> 8)} + Bytes(32, 2);
        ASSERT_TRUE(registration.SendFrame(11, 0, {}, Encrypted(record), 0));
        LetTheConnectionClose();
    }

    // Answers the login with a heartbeat interval of 60 s.
    void Login()
    {
        ASSERT_TRUE(login.Accept());
        ASSERT_FALSE(login.ReceiveFrame().empty());
        FakeClockAwaitSleepers(1);
        ASSERT_TRUE(login.SendFrame(11, 0, {}, Encrypted(Hex("00 00 3C 00")), 0));
        FakeClockAwaitWaiters(3); // response thread, check thread, pause of the main thread
        FakeClockAdvanceMs(10);
        ASSERT_EQ(0x31, login.ReceiveFrame()[2]); // rules request
        FakeClockAwaitWaiters(3);
    }

    // A session up to its first tick: main, check and heartbeat thread wait.
    void BeginSession()
    {
        BeginCycle();
        Register(login.Port());
        Login();
        FakeClockAdvanceMs(10);
        ASSERT_EQ(0x21, login.ReceiveFrame()[2]); // first heartbeat
        FakeClockAwaitWaiters(4);                 // and the response thread; the main thread may have no deadline
        begin = OsNowMs();
    }

    void EndSession()
    {
        SetSessionFlag(mQuitPro, 1);
        LetTheConnectionClose();
        agent->Join();
    }

    void Session(int64_t milliseconds)
    {
        BeginSession();
        AdvanceThroughWaits(milliseconds, 4);
        EndSession();
    }

    Peer registration;
    Peer login;
    const UnusedPort unused;
    FeatureSpy spy;
    std::unique_ptr<Running> agent;
    int64_t begin = 0; // of the first tick
};

// ---- Duties ----

TEST_F(PlugSessionTest, DutiesAreDoneAtTheirTicksOfTwoSeconds)
{
    BeginSession();
    AdvanceThroughWaits(15999, 4);
    EXPECT_TRUE(spy.Calls().empty());
    AdvanceThroughWaits(199999 - 15999, 4);
    EXPECT_EQ(3u, spy.Calls().size());
    FakeClockAdvanceMs(1);
    ASSERT_TRUE(Within([this] { return spy.Calls().size() == 4; }));
    AdvanceThroughWaits(600000, 4);
    EndSession();
    const struct {
        const char *name;
        int64_t afterMs;
    } expected[] = {{"ComF_send_pluginstate", 16000},
                    {"ComF_get_autoreport_conf", 18000},
                    {"dev_fwversion_report", 22000},
                    {"ComF_send_calibration", 200000},
                    {"ComF_send_pluginstate", 800000}}; // at the session's end
    const std::vector<FeatureSpy::Call> calls = spy.Calls();
    ASSERT_EQ(5u, calls.size());
    for (size_t i = 0; i < 5; i++) {
        EXPECT_EQ(expected[i].name, calls[i].name);
        EXPECT_EQ(expected[i].afterMs, calls[i].atMs - begin) << expected[i].name;
    }
    EXPECT_NE(std::string::npos, Log().find("Send calibration info.\n"));
}

TEST_F(PlugSessionTest, DutiesAreNotRepeatedInALaterSession)
{
    Session(60000);
    EXPECT_EQ(1u, spy.Count("ComF_get_autoreport_conf"));
    EXPECT_EQ(1u, spy.Count("dev_fwversion_report"));
    EXPECT_EQ(2u, spy.Count("ComF_send_pluginstate")); // one of them at the end
    Session(60000);
    EXPECT_EQ(1u, spy.Count("ComF_get_autoreport_conf"));
    EXPECT_EQ(1u, spy.Count("dev_fwversion_report"));
    EXPECT_EQ(3u, spy.Count("ComF_send_pluginstate"));
    EXPECT_EQ(0u, spy.Count("ComF_send_calibration"));
}

TEST_F(PlugSessionTest, TheDutyCounterContinuesAcrossSessionsAndCountsABegunTickAsAWholeOne)
{
    Session(0);
    EXPECT_EQ(1u, PlugDutyCounter());
    Session(5000); // ticks at 0, 2 and 4 s
    EXPECT_EQ(4u, PlugDutyCounter());
    EXPECT_EQ(2u, spy.Calls().size()); // the two ends
    BeginSession();
    AdvanceThroughWaits(8000, 4); // tick 8
    EXPECT_EQ(3u, spy.Calls().size());
    AdvanceThroughWaits(999, 4);
    EndSession();
    EXPECT_EQ(9u, PlugDutyCounter());
    Session(500); // tick 9 is at hand
    EXPECT_EQ(1u, spy.Count("ComF_get_autoreport_conf"));
    EXPECT_EQ(10u, PlugDutyCounter());
}

TEST_F(PlugSessionTest, TicksAreCountedAfterTheLastDuty)
{
    PlugSetDutyCounter(101);
    BeginSession();
    AdvanceThroughWaits(600999, 4);
    EndSession();
    EXPECT_EQ(101u + 301u, PlugDutyCounter());
}

// ---- Ends ----

TEST_F(PlugSessionTest, TheEndOfASessionIsReportedAndWrittenToTheStatusFile)
{
    BeginSession();
    EXPECT_EQ("003\n", StatusFile());
    EXPECT_EQ(1, mLogin);
    EndSession();
    EXPECT_EQ("103\n", StatusFile());
    EXPECT_EQ(0, mLogin);
    EXPECT_EQ(0, ServerRun);
    EXPECT_TRUE(login.AtEnd());
    EXPECT_NE(std::string::npos, Log().find("Ready to Register ...\n"));
    EXPECT_EQ(std::vector<std::string>({"ComF_send_pluginstate"}), spy.Names());
}

TEST_F(PlugSessionTest, ASessionResetsTheRetryCounter)
{
    Fail(11);
    Session(0);
    Fail(11); // none of which ends the process
    EXPECT_ENDS(Fail(1), "Register retry more than 10 times, exit !!!");
}

TEST_F(PlugSessionTest, AFailedLoginDoesNotChangeTheRetryCounter)
{
    Fail(10);
    BeginCycle();
    Register(unused.Number()); // no login server there
    LetTheConnectionClose();
    agent->Join();
    const std::string log = Log();
    EXPECT_NE(std::string::npos, log.find("Login ServerInit error\n"));
    EXPECT_NE(std::string::npos, log.find("LoginStart error.\n"));
    EXPECT_EQ("002\n", StatusFile());
    Fail(1); // the eleventh
    EXPECT_ENDS(Fail(1), "Register retry more than 10 times, exit !!!");
}

TEST_F(PlugSessionTest, ASessionWhoseHeartbeatCannotStartIsTornDown)
{
    FakeFailThreadStart(6, EAGAIN); // two of the registration's client, two of the login's, the check thread
    BeginCycle();
    Register(login.Port());
    Login();
    FakeClockAdvanceMs(10);
    LetTheConnectionClose();
    agent->Join();
    const std::string log = Log();
    EXPECT_NE(std::string::npos, log.find("Created heartbeat thread failed errno=11\n"));
    EXPECT_NE(std::string::npos, log.find("LoginStart error.\n"));
    EXPECT_EQ(std::string::npos, log.find("Ready to Register ..."));
    EXPECT_EQ("102\n", StatusFile());
    EXPECT_TRUE(login.AtEnd());
    EXPECT_EQ(0, ServerRun);
    EXPECT_TRUE(spy.Calls().empty());
    EXPECT_EQ(0u, PlugDutyCounter());
}

// ---- The week ----

TEST_F(PlugSessionTest, ASessionThatEndsATickBeforeTheWeekIsFollowedByAnother)
{
    PlugSetDutyCounter(302399);
    BeginSession();
    EndSession();
    EXPECT_EQ(302400u, PlugDutyCounter());
    EXPECT_EQ(std::string::npos, Log().find("After a week exit"));
}

TEST_F(PlugSessionTest, ASessionThatEndsAfterTheWeekEndsTheProcess)
{
    PlugSetDutyCounter(302400);
    const auto run = [this] {
        BeginSession();
        SetSessionFlag(mQuitPro, 1);
        LetTheConnectionClose();
        agent->Join();
    };
    EXPECT_ENDS(run(), "After a week exit, restart \\.\\.\\.");
}

TEST_F(PlugSessionTest, TheExitAfterAWeekWaitsForACommandInProgress)
{
    static ServerStopCall call = {[] {
                                      fprintf(stderr, "asked to let go\n");
                                      return false;
                                  },
                                  false, nullptr};
    PlugSetDutyCounter(302400);
    const auto run = [this] {
        ServerOnStop(&call);
        BeginSession();
        fprintf(stderr, "session\n");
        SetSessionFlag(mQuitPro, 1);
        LetTheConnectionClose();
        agent->Join();
    };
    EXPECT_ENDS(run(), "session.*After a week exit.*asked to let go");
}

TEST_F(PlugSessionTest, TheExitAfterAWeekWaitsForTheEndOfTheSession)
{
    PlugSetDutyCounter(302400);
    const auto run = [this] {
        BeginSession();
        AdvanceThroughWaits(3600000, 4);
        fprintf(stderr, "still running\n");
        SetSessionFlag(mQuitPro, 1);
        LetTheConnectionClose();
        agent->Join();
    };
    EXPECT_ENDS(run(), "still running.*After a week exit, restart \\.\\.\\.");
}
