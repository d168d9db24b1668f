// What the receive thread does when the connection gives trouble, and how a session ends.
#include <atomic>
#include <csignal>
#include <sys/stat.h>

#include "os/OsClock.h"
#include "os/Paths.h"
#include "platform/Protool.h"
#include "platform/TcpServer.h"
#include "tests/unit/agent/LinkTest.h"
#include "tests/unit/agent/PlatformSide.h"

namespace
{

std::atomic<int> s_sigpipes;
// Counts of calls named with ServerOnStop(), one for each test: a named call is made in every later session, too.
std::atomic<int> s_letGo;
std::atomic<int> s_letGoMany;
std::atomic<int> s_reminders;

// A command that goes on until the test says that it may end.
OsWaiter s_command;
bool s_commandEnds; // guarded by s_command
std::atomic<int> s_commands;

void CarryOut(const ReceivedFrame &)
{
    OsGuard guard(&s_command);
    s_commands++;
    while (!s_commandEnds) OsWaitUntil(&s_command, OS_FOREVER);
}

void CountSigpipe(int)
{
    s_sigpipes++;
}

void EndCommand()
{
    OsGuard guard(&s_command);
    s_commandEnds = true;
    OsWakeAll(&s_command);
}

class ServerRecv : public FrameLinkTest
{
  protected:
    void SetUp() override
    {
        FrameLinkTest::SetUp();
        mLogin = 1;
    }

    // Connects without forgetting what is logged meanwhile.
    void ConnectLoud()
    {
        ASSERT_EQ(0, Init());
        ASSERT_TRUE(mPeer.Accept());
    }

    // Waits for the end of the session, then checks what it has left behind.
    void ExpectSessionEnded()
    {
        WaitForQuit(OS_FOREVER);
        EXPECT_EQ(1, mQuitPro);
        EXPECT_EQ(0, mLogin);
        EXPECT_EQ("103\n", StatusFile());
        EXPECT_EQ(1, ServerRun); // until the main thread tears the client down
    }

    // Whether the session goes on: a frame sent now is still handled.
    void ExpectSessionGoesOn()
    {
        const size_t before = FrameCount();
        EXPECT_TRUE(mPeer.Send(Hex(kShort)));
        EXPECT_TRUE(AwaitFrames(before + 1));
        EXPECT_EQ(0, mQuitPro);
        EXPECT_EQ(1, mLogin);
        EXPECT_EQ("", StatusFile());
    }
};

const OsReadable F = OS_WAIT_FAILED;
const OsReadable R = OS_READABLE; // with nothing to read, so the read fails

} // namespace

// ---- Failed waits ----

TEST_F(ServerRecv, SixFailedWaitsInARowEndTheSession)
{
    FakeReadableResults({F, F, F, F, F, F});
    ConnectLoud();
    ExpectSessionEnded();
    EXPECT_TRUE(mPeer.AtEnd());
    EXPECT_EQ(6u, CountOf(Log(), "]-> Net error.\n\n"));
}

TEST_F(ServerRecv, FiveFailedWaitsInARowDoNotEndTheSession)
{
    FakeReadableResults({F, F, F, F, F});
    ConnectLoud();
    ExpectSessionGoesOn();
    EXPECT_EQ(5u, CountOf(Log(), "]-> Net error.\n\n"));
}

TEST_F(ServerRecv, AWaitThatSucceedsResetsTheCountOfFailedWaits)
{
    for (OsReadable other : {OS_READABLE, OS_TIMED_OUT, OS_OTHER_EVENT}) {
        FakeReadableResults({F, F, F, F, F, other, F, F, F, F, F});
        ConnectLoud();
        FakeClockAuto(true);
        ExpectSessionGoesOn(); // the read in between may take this frame,
        ExpectSessionGoesOn(); // but this one comes after all of them
        EXPECT_EQ(10u, CountOf(Log(), "]-> Net error.\n\n")) << other;
        Stop();
    }
}

TEST_F(ServerRecv, AWaitThatEndsForAnotherEventIsLoggedAndTheSessionContinues)
{
    const OsReadable other = OS_OTHER_EVENT;
    FakeReadableResults({other, other, other, other, other, other, other});
    ConnectLoud();
    ExpectSessionGoesOn();
    EXPECT_EQ(7u, CountOf(Log(), "]-> unknow err.\n\n"));
}

TEST_F(ServerRecv, AWaitThatTimesOutIsNoFailure)
{
    const OsReadable late = OS_TIMED_OUT;
    FakeReadableResults({late, late, late, late, late, late, late});
    Connect();
    ExpectSessionGoesOn();
    EXPECT_EQ("", Log());
}

// ---- Failed reads ----

TEST_F(ServerRecv, SixFailedReadsInARowEndTheSession)
{
    FakeReadableResults({R, R, R, R, R, R});
    ConnectLoud();
    ExpectSessionEnded();
    EXPECT_TRUE(mPeer.AtEnd());
    EXPECT_EQ(1u, CountOf(Log(), "]-> receive error.\n\n"));
}

TEST_F(ServerRecv, FiveFailedReadsInARowDoNotEndTheSession)
{
    FakeReadableResults({R, R, R, R, R});
    ConnectLoud();
    ExpectSessionGoesOn();
    EXPECT_EQ(0u, CountOf(Log(), "receive error."));
}

TEST_F(ServerRecv, ArrivingBytesResetTheCountOfFailedReads)
{
    FakeClockAuto(true);
    FakeReadableResults({R, R, R, R, R});
    Connect();
    ExpectSessionGoesOn();
    FakeReadableResults({R, R, R, R, R});
    ExpectSessionGoesOn(); // its bytes bring the thread back to these five
    ExpectSessionGoesOn();
    EXPECT_EQ("", Log());
}

// ---- The other side closes ----

TEST_F(ServerRecv, ThreeHundredEmptyReadsTenMillisecondsApartEndTheSession)
{
    Connect();
    mPeer.Close();
    for (int i = 1; i < 300; i++) {
        FakeClockAwaitSleepers(1);
        ASSERT_EQ(10, FakeClockNextDeadlineMs());
        FakeClockAdvanceMs(10);
    }
    FakeClockAwaitSleepers(1); // in the pause of the last one
    EXPECT_EQ(2990, OsNowMs());
    EXPECT_EQ("", Log());
    EXPECT_EQ(0, mQuitPro);
    EXPECT_EQ(1, mLogin);
    FakeClockAdvanceMs(10);
    ExpectSessionEnded();
    EXPECT_TRUE(Logged("Close link."));
}

TEST_F(ServerRecv, FramesThatCameBeforeTheEndAreStillHandled)
{
    Connect();
    FakeClockAuto(true); // before anybody waits: it does not end a wait that has begun
    mPeer.Send(Hex(std::string(kShort) + kLong));
    mPeer.Close();
    EXPECT_TRUE(AwaitFrames(2));
    ExpectSessionEnded();
}

TEST_F(ServerRecv, AResetConnectionEndsTheSessionLikeAClosedOne)
{
    Connect();
    FakeClockAuto(true);
    mPeer.Reset();
    ExpectSessionEnded();
    EXPECT_TRUE(Logged("Close link."));
}

TEST_F(ServerRecv, AfterTheSessionNothingCanBeSent)
{
    FakeReadableResults({R, R, R, R, R, R});
    Connect();
    ExpectSessionEnded();
    EXPECT_TRUE(mPeer.AtEnd());
    const uint8_t byte = 0;
    EXPECT_EQ(-1, SendData(&byte, 1));
}

TEST_F(ServerRecv, AStatusFileThatCannotBeWrittenDoesNotKeepTheSessionFromEnding)
{
    ASSERT_EQ(0, mkdir(kPathPlugStatus, 0755));
    FakeReadableResults({F, F, F, F, F, F});
    ConnectLoud();
    WaitForQuit(OS_FOREVER);
    EXPECT_EQ(0, mLogin);
    EXPECT_TRUE(mPeer.AtEnd());
    EXPECT_NE(std::string::npos, Log().find(std::string("]-> Can not open ") + kPathPlugStatus));
}

// ---- Stopping ----

TEST_F(ServerRecv, ClosesTheSocketWhenTheClientIsStopped)
{
    Connect();
    Running deleter([this] { DeleteServer(&mContext); });
    FakeClockAwaitSleepers(1); // in its pause, which nothing has ended yet
    EXPECT_TRUE(mPeer.AtEnd());
    const uint8_t byte = 0;
    EXPECT_EQ(-1, SendData(&byte, 1));
    FakeClockAdvanceMs(1000);
}

TEST_F(ServerRecv, StoppingEndsThePauseAfterAnEmptyReadWithoutEndingTheSession)
{
    Connect();
    mPeer.Close();
    FakeClockAwaitSleepers(1);
    EXPECT_EQ(0, Stop());
    EXPECT_EQ(0, mQuitPro);
    EXPECT_EQ("", StatusFile());
}

TEST_F(ServerRecv, WaitForServerStopReturnsWhetherTheServerStops)
{
    Connect();
    std::atomic<int> stopped{-1};
    {
        Running waiter([&] { stopped = WaitForServerStop(50); });
        FakeClockAwaitSleepers(1);
        FakeClockAdvanceMs(50);
    }
    EXPECT_EQ(0, stopped);
    {
        Running waiter([&] { stopped = WaitForServerStop(5000); });
        FakeClockAwaitSleepers(1);
        Running deleter([this] { DeleteServer(&mContext); });
        waiter.Join(); // before any time has passed
        EXPECT_EQ(1, stopped);
        FakeClockAwaitSleepers(1);
        FakeClockAdvanceMs(1000);
    }
    EXPECT_TRUE(WaitForServerStop(5000));
}

TEST_F(ServerRecv, StoppingMakesTheNamedCallsWhenTheFlagIsClearedAndAfterThePause)
{
    s_letGo = 0;
    const auto letGo = [] {
        if (ServerRun == 0) s_letGo++;
        return false;
    };
    static ServerStopCall call = {letGo, false, nullptr};
    ServerOnStop(&call);
    ServerOnStop(&call);
    Connect();
    EXPECT_EQ(0, s_letGo);
    Stop();
    EXPECT_EQ(2, s_letGo); // once more after the pause, for a command that was just about to begin
    Connect();
    Stop();
    EXPECT_EQ(4, s_letGo);
}

TEST_F(ServerRecv, FiftyNamedCallsAreEachMadeOnce)
{
    static ServerStopCall calls[50];
    s_letGoMany = 0;
    for (ServerStopCall &call : calls) {
        call.letGo = [] {
            s_letGoMany++;
            return false;
        };
        ServerOnStop(&call);
    }
    ServerOnStop(&calls[0]); // the first, with others in front of it by now
    ServerOnStop(&calls[49]);
    Connect();
    EXPECT_EQ(0, s_letGoMany);
    SessionContext none = {};
    FakeClockAuto(true);
    DeleteServer(&none);
    FakeClockAuto(false);
    EXPECT_EQ(50, s_letGoMany);
}

TEST_F(ServerRecv, ACallThatWantsToBeRepeatedIsMadeEverySecondUntilTheResponseThreadEnds)
{
    static const auto letGo = [] {
        s_reminders++;
        return s_commands == 1; // whether it goes on
    };
    static ServerStopCall call = {letGo, false, nullptr};
    ServerOnStop(&call);
    ServerOnFrame(CarryOut);
    s_commandEnds = false;
    s_commands = s_reminders = 0;
    Connect();
    mPeer.Send(Hex(kShort));
    ASSERT_TRUE(Within([] { return s_commands == 1; }));
    Running deleter([this] { EXPECT_EQ(0, DeleteServer(&mContext)); });
    FakeClockAwaitSleepers(1);
    for (int second = 1; second <= 5; second++) {
        EXPECT_EQ(second, s_reminders);
        EXPECT_EQ(1000, FakeClockNextDeadlineMs());
        FakeClockAdvanceMs(1000);
        FakeClockAwaitSleepers(1);
    }
    EndCommand();
    deleter.Join(); // although the clock stands still
    EXPECT_LE(6, s_reminders);
    EXPECT_GE(7, s_reminders); // the end wakes whom it finds waiting
    EXPECT_EQ(0, mContext.serverThreads);
    s_commands = 0; // of the tests that follow
}

TEST_F(ServerRecv, WithoutACallToRepeatTheEndOfACommandIsAwaitedWithoutADeadline)
{
    ServerOnFrame(CarryOut);
    s_commandEnds = false;
    s_commands = 0;
    Connect();
    mPeer.Send(Hex(kShort));
    ASSERT_TRUE(Within([] { return s_commands == 1; }));
    s_commands = 0; // for the call of the test above
    Running deleter([this] { EXPECT_EQ(0, DeleteServer(&mContext)); });
    FakeClockAwaitSleepers(1);
    FakeClockAdvanceMs(1000); // the pause
    FakeClockAwaitWaiters(2); // command and teardown
    EXPECT_EQ(-1, FakeClockNextDeadlineMs());
    EndCommand();
    deleter.Join();
}

TEST_F(ServerRecv, SendingToAConnectionThatIsGoneRaisesNoSigpipe)
{
    s_sigpipes = 0;
    const auto old = signal(SIGPIPE, CountSigpipe);
    Connect();
    mPeer.Reset();
    FakeClockAwaitSleepers(1); // the receive thread has seen the reset
    const Bytes frame = Hex(kShort);
    EXPECT_EQ(-1, SendData(frame.data(), frame.size()));
    signal(SIGPIPE, old);
    EXPECT_EQ(0, s_sigpipes);
}
