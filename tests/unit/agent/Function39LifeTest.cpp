// The reports of new devices: when a local peer takes over, how the thread starts and stops.
#include "tests/unit/agent/Function39Test.h"

// ---- The hand-over ----

TEST_F(Function39, WithALocalPeerNothingIsStarted)
{
    WriteFile(kPathMacConfig, "02aa00000001\r\n");
    CommClientReg = 1;
    EXPECT_EQ(0, Fn39Init());
    const std::string log = Log();
    EXPECT_NE(std::string::npos, log.find("[Function39->Fn39Init->"));
    EXPECT_NE(std::string::npos, log.find("]-> Use function 40\n\n"));
    EXPECT_EQ(std::string::npos, log.find("LOAD macconfig"));
    EXPECT_EQ(0, FakeAllocationsAlive());
    EXPECT_EQ(-1, FakeClockNextDeadlineMs());
}

TEST_F(Function39, ALocalPeerEndsTheThreadAfterItsPresentCycle)
{
    Household({1});
    Start();
    Pass(5);
    LocalPeerCame();
    AwaitPause(10000); // the query is due
    FakeClockAdvanceMs(10000);
    ExpectReport(1);
    ExpectHandOver();
    FakeClockAdvanceMs(3600000);
    EXPECT_EQ(1u, gSdk.calls.size());
}

TEST_F(Function39, ALocalPeerEndsAnIdlePauseAtOnce)
{
    SetSessionFlag(mLogin, 0);
    Start();
    LocalPeerCame();
    ExpectHandOver();
    EXPECT_EQ(0, OsNowMs());
}

// ---- Start and stop ----

TEST_F(Function39, TheThreadStopsInEveryPauseAndTheBufferIsFreed)
{
    Start();
    EXPECT_EQ(1, FakeAllocationsAlive());
    Fn39Stop(); // returns although the clock does not advance
    EXPECT_EQ(0, FakeAllocationsAlive());
    SetSessionFlag(mLogin, 0);
    Start();
    Fn39Stop();
    Fn39Stop();
    EXPECT_EQ(0, FakeAllocationsAlive());
    EXPECT_EQ(0, OsNowMs());
    EXPECT_FALSE(Logged("Use function 40"));
}

TEST_F(Function39, AStopEndsTheMinuteAfterAFailure)
{
    gSdk.results["get_devs_cfg"] = 3;
    Start();
    Pass(5);
    FakeClockAdvanceMs(10000);
    AwaitPause(60000);
    Fn39Stop();
}

TEST_F(Function39, TheStartForgetsTheKnownDevices)
{
    KnownAdd(SubdevMac(9).data());
    Start();
    EXPECT_EQ(0, f39Num);
}

TEST_F(Function39, WithoutMemoryNothingIsStarted)
{
    FakeFailAllocation(1);
    EXPECT_EQ(-1, Fn39Init());
    EXPECT_TRUE(Logged("Malloc func39 devices failed."));
    Fn39Stop();
}

TEST_F(Function39, AThreadThatCannotBeStartedIsLoggedAndTheBufferFreed)
{
    FakeFailThreadStart(1, EAGAIN);
    EXPECT_EQ(-1, Fn39Init());
    EXPECT_TRUE(Logged("Create FnReportProc failed."));
    EXPECT_EQ(0, FakeAllocationsAlive());
    Fn39Stop();
}
