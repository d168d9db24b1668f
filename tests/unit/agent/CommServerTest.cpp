// The local server on its real socket: which peers are served, how it starts and stops.
#include "tests/unit/agent/CommServerTest.h"

#include <cerrno>
#include <cstring>
#include <sys/socket.h>
#include <sys/stat.h>

#include "comm/AutoReport.h"
#include "os/OsClock.h"
#include "tests/support/Processes.h"
#include "tests/support/UnixSocket.h"

// ---- Start ----

TEST_F(CommServer, TheStartResetsAllState)
{
    InstanceState = InstanceSocket = 1;
    CommClientReg = CommReceived = 1;
    CommTxSeq = CommRxSeq = 9;
    intervalFlag1 = intervalFlag2 = intervalFlag3 = 5;
    ASSERT_EQ(0, CommServerStart());
    EXPECT_EQ(1, CommRun);
    EXPECT_EQ(0, InstanceState);
    EXPECT_EQ(0, InstanceSocket);
    EXPECT_EQ(0, CommClientReg);
    EXPECT_EQ(0, CommReceived);
    EXPECT_EQ(0u, CommTxSeq);
    EXPECT_EQ(0u, CommRxSeq);
    EXPECT_EQ(-1, intervalFlag1);
    EXPECT_EQ(-1, intervalFlag2);
    EXPECT_EQ(-1, intervalFlag3);
}

TEST_F(CommServer, ServesAPeerAndNotesThatOneHasConnected)
{
    LocalPeer peer;
    Serve(&peer);
    EXPECT_EQ(1, InstanceState);
    EXPECT_EQ(1, CommClientReg);
    EXPECT_TRUE(AwaitLog("create a instance..."));
    EXPECT_NE(std::string::npos, AllLogged().find("[DEBUG] [CommServer->ServerThread->"));
    EXPECT_EQ(0u, AllLogged().find("2023-11-14 22:13:20 [DEBUG]")) << "nothing before it";
}

TEST_F(CommServer, ThreePeersMayWaitToBeAccepted)
{
    LocalPeer peer;
    Serve(&peer);
    EXPECT_EQ(3, FakeListenBacklog());
}

TEST_F(CommServer, DescriptorsAreCloseOnExecAndDoNotBlock)
{
    LocalPeer peer;
    Serve(&peer);
    EXPECT_TRUE(fcntl(InstanceSocket, F_GETFD) & FD_CLOEXEC);
    EXPECT_TRUE(Within([] { return (fcntl(InstanceSocket, F_GETFL) & O_NONBLOCK) != 0; }));
}

TEST_F(CommServer, ASocketLeftFromAnEarlierRunDoesNotMatter)
{
    const struct sockaddr_un stale = UnixAddress(kPathCommServer);
    const int old = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(0, bind(old, reinterpret_cast<const struct sockaddr *>(&stale), sizeof stale));
    close(old);
    LocalPeer peer;
    Serve(&peer);
    EXPECT_TRUE(Answered(&peer, 1));
}

TEST_F(CommServer, APlantedLinkIsRemovedAndNotFollowed)
{
    const std::string target = FakeFolder() + "/target";
    WriteFile(target, "mine");
    std::filesystem::create_symlink(target, kPathCommServer);
    LocalPeer peer;
    Serve(&peer);
    struct stat status;
    ASSERT_EQ(0, lstat(kPathCommServer, &status));
    EXPECT_TRUE(S_ISSOCK(status.st_mode));
    EXPECT_EQ("mine", ReadFile(target));
}

TEST_F(CommServer, TriesAgainFiveSecondsAfterSocketFailed)
{
    FakeFailSocket();
    EXPECT_EQ(0, CommServerStart());
    EXPECT_TRUE(AwaitLog("Create socket failed"));
    EXPECT_FALSE(std::filesystem::exists(kPathCommServer));
    FakeClockAwaitSleepers(1);
    EXPECT_EQ(5000, FakeClockNextDeadlineMs());
    FakeClockAdvanceMs(5000);
    LocalPeer peer;
    ASSERT_TRUE(peer.Connect());
    EXPECT_TRUE(Served());
    EXPECT_EQ("Create socket failed\n", Lines(AllLogged(), "CommServerProc"));
}

TEST_F(CommServer, TriesAgainEveryFiveSecondsWhenBindFails)
{
    std::filesystem::create_directories(std::string(kPathCommServer) + "/planted");
    EXPECT_EQ(0, CommServerStart());
    for (size_t tries = 1; tries <= 3; tries++) {
        ASSERT_TRUE(AwaitLog("bind failed", tries));
        FakeClockAwaitSleepers(1);
        EXPECT_EQ(5000, FakeClockNextDeadlineMs());
        FakeClockAdvanceMs(4999);
        EXPECT_EQ(tries, LoggedTimes("bind failed"));
        if (tries == 3) std::filesystem::remove_all(kPathCommServer);
        FakeClockAdvanceMs(1);
    }
    LocalPeer peer;
    ASSERT_TRUE(peer.Connect());
    EXPECT_TRUE(Served());
    EXPECT_TRUE(Answered(&peer, 1));
}

TEST_F(CommServer, TriesAgainWhenListenFailsAndLeaksNoDescriptor)
{
    const size_t before = DescriptorsOf();
    FakeFailListen();
    EXPECT_EQ(0, CommServerStart());
    EXPECT_TRUE(AwaitLog("listen failed"));
    FakeClockAwaitSleepers(1);
    FakeClockAdvanceMs(5000);
    LocalPeer peer;
    ASSERT_TRUE(peer.Connect());
    EXPECT_TRUE(Served());
    peer.Close();
    CommServerStop();
    EXPECT_EQ("listen failed\n", Lines(AllLogged(), "CommServerProc"));
    EXPECT_EQ(before, DescriptorsOf());
}

TEST_F(CommServer, StopsWhileItWaitsToTryAgain)
{
    std::filesystem::create_directories(std::string(kPathCommServer) + "/planted");
    EXPECT_EQ(0, CommServerStart());
    FakeClockAwaitSleepers(1);
    CommServerStop(); // although the clock does not advance
    EXPECT_TRUE(std::filesystem::exists(std::string(kPathCommServer) + "/planted"));
}

TEST_F(CommServer, DoesNotStartWithoutMemoryForItsQueue)
{
    FakeFailAllocation(1);
    EXPECT_EQ(-1, CommServerStart());
    EXPECT_EQ(1u, LoggedTimes("Malloc CommRQ failed."));
    for (int nth = 2; nth <= 4; nth++) { // slot table, storage, lock
        FakeFailAllocation(nth);
        EXPECT_EQ(-1, CommServerStart());
        EXPECT_EQ(static_cast<size_t>(nth) - 1, LoggedTimes("Queue Init error"));
        EXPECT_EQ(0, FakeAllocationsAlive());
    }
}

TEST_F(CommServer, FailsToStartWithoutAThreadAndKeepsThoseThatRun)
{
    const char *const texts[] = {"Create CommServerProc failed.", "Create CommServerProc failed.",
                                 "Create CommReleaseProc failed."};
    std::string expected;
    for (int nth = 1; nth <= 3; nth++) {
        FakeFailThreadStart(nth, EAGAIN);
        EXPECT_EQ(-1, CommServerStart());
        expected += std::string(texts[nth - 1]) + "\n";
        EXPECT_EQ(expected, Lines(AllLogged(), "CommServerStart"));
        EXPECT_EQ(1, CommRun);
        EXPECT_EQ(4, FakeAllocationsAlive()) << "the queue is kept";
        if (nth > 1) FakeClockAwaitWaiters(1); // the handler
        CommServerStop();
    }
}

// ---- Who is let in ----

TEST_F(CommServer, ASecondPeerIsRefusedAtOnceAndTheNextWaitsFiveSeconds)
{
    LocalPeer first, second, third;
    Serve(&first);
    ASSERT_TRUE(second.Connect());
    EXPECT_TRUE(second.AtEnd());
    EXPECT_TRUE(AwaitLog("link quntity is large."));
    FakeClockAwaitSleepers(1);
    EXPECT_EQ(5000, FakeClockNextDeadlineMs());
    ASSERT_TRUE(third.Connect()); // into the backlog
    FakeClockAdvanceMs(4999);
    EXPECT_TRUE(third.Open());
    FakeClockAwaitSleepers(1);
    EXPECT_EQ(1u, LoggedTimes("link quntity is large."));
    FakeClockAdvanceMs(1);
    EXPECT_TRUE(third.AtEnd());
    EXPECT_TRUE(AwaitLog("link quntity is large.", 2));
    EXPECT_TRUE(first.Open());
    FakeClockAuto(true);
    EXPECT_TRUE(Answered(&first, 1));
}

TEST_F(CommServer, AfterAPeerHasGoneTheNextIsServed)
{
    LocalPeer first, second;
    Serve(&first);
    first.Close();
    EXPECT_TRUE(AwaitLog("release ok"));
    EXPECT_EQ("create a instance...\nClose link.\nClose instance.\n", Lines(AllLogged(), "ServerThread"));
    EXPECT_EQ("release ok\n", Lines(AllLogged(), "CommReleaseProc"));
    EXPECT_EQ(0, InstanceState);
    EXPECT_EQ(0, InstanceSocket);
    EXPECT_EQ(1, CommClientReg) << "one has been there";
    ASSERT_TRUE(second.Connect());
    EXPECT_TRUE(Served());
    EXPECT_TRUE(Answered(&second, 1));
}

TEST_F(CommServer, TheReaperPausesASecondAfterEachInstance)
{
    LocalPeer first, second, third;
    Serve(&first);
    first.Close();
    ASSERT_TRUE(AwaitLog("release ok"));
    FakeClockAwaitSleepers(1);
    EXPECT_EQ(1000, FakeClockNextDeadlineMs());
    ASSERT_TRUE(second.Connect());
    ASSERT_TRUE(Served());
    second.Close();
    ASSERT_TRUE(AwaitLog("Close instance.", 2));
    EXPECT_EQ(1, InstanceState) << "not reaped yet";
    ASSERT_TRUE(third.Connect());
    FakeClockAwaitWaiters(3); // handler, reaper and now the accept thread
    EXPECT_TRUE(third.Open()) << "it waits for the reaper";
    EXPECT_EQ(0, InstanceSocket);
    FakeClockAdvanceMs(1000);
    EXPECT_TRUE(AwaitLog("release ok", 2));
    EXPECT_TRUE(Served());
    EXPECT_TRUE(Answered(&third, 1));
    EXPECT_EQ(0u, LoggedTimes("link quntity is large."));
}

TEST_F(CommServer, APeerThatConnectsRightAfterOneHasGoneIsServed)
{
    LocalPeer peer;
    Serve(&peer);
    FakeClockAuto(true);
    for (uint32_t i = 1; i <= 200; i++) {
        LocalPeer next;
        peer.Close(); // without waiting until the agent has noticed
        ASSERT_TRUE(next.Connect());
        ASSERT_TRUE(Answered(&next, i)) << i;
        next.Close();
        ASSERT_TRUE(peer.Connect());
        ASSERT_TRUE(Served());
    }
    EXPECT_EQ(0u, LoggedTimes("link quntity is large."));
}

TEST_F(CommServer, APeerThatClosesWithoutSendingWakesNobody)
{
    LocalPeer peer;
    Serve(&peer);
    peer.Close();
    ASSERT_TRUE(AwaitLog("release ok"));
    FakeClockAwaitWaiters(2); // handler and reaper; the accept thread is in accept
    FakeClockAdvanceMs(600000);
    FakeClockAwaitWaiters(2);
    EXPECT_EQ(-1, FakeClockNextDeadlineMs()) << "somebody still looks at the clock";
    EXPECT_EQ(1u, LoggedTimes("Close link."));
    EXPECT_EQ(1u, LoggedTimes("release ok"));
}

TEST_F(CommServer, AThousandPeersLeakNothing)
{
    LocalPeer peer;
    Serve(&peer);
    FakeClockAuto(true);
    const size_t before = DescriptorsOf();
    const size_t running = ThreadsOf();
    for (uint32_t i = 1; i <= 1000; i++) {
        peer.Close();
        ASSERT_TRUE(Within([] { return InstanceState == 0; }));
        ASSERT_TRUE(peer.Connect());
        ASSERT_TRUE(Served());
        const bool silent = i % 4 == 0; // closes without sending
        ASSERT_TRUE(silent || Answered(&peer, i)) << i;
    }
    EXPECT_EQ(before, DescriptorsOf());
    // A thread that has been joined may be in the kernel's list for a moment more.
    EXPECT_TRUE(Within([=] { return ThreadsOf() == running; })) << ThreadsOf() << " threads, " << running << " before";
    EXPECT_EQ(0u, LoggedTimes("link quntity is large."));
}

TEST_F(CommServer, AFailedAcceptStartsAnInstanceThatEndsAtOnce)
{
    FakeFailAccept(1);
    ASSERT_EQ(0, CommServerStart());
    EXPECT_TRUE(AwaitLog("release ok"));
    EXPECT_EQ("accept err\n", Lines(AllLogged(), "CommServerProc"));
    EXPECT_EQ("create a instance...\nnet err.\nClose instance.\n", Lines(AllLogged(), "ServerThread"));
    EXPECT_EQ(1, CommClientReg);
    EXPECT_EQ(0, InstanceSocket);
    LocalPeer peer;
    ASSERT_TRUE(peer.Connect());
    EXPECT_TRUE(Served());
    EXPECT_TRUE(Answered(&peer, 1));
}

TEST_F(CommServer, RepeatedFailedAcceptsDoNotSpin)
{
    FakeFailAccept(1000000);
    ASSERT_EQ(0, CommServerStart());
    size_t accepts = 0;
    for (int seconds = 0; seconds < 60; seconds++) {
        FakeClockAwaitSleepers(1); // the pause of a refusal; or the reaper's, and the accept thread gets there too
        ASSERT_TRUE(Within([] { return FakeClockNextDeadlineMs() > 0; }));
        FakeClockAdvanceMs(1000);
    }
    accepts = LoggedTimes("accept err");
    EXPECT_GT(accepts, 10u);
    EXPECT_LE(accepts, 60u + 3u);
}

TEST_F(CommServer, APeerWhoseInstanceCannotBeStartedIsRefusedAndTheNextIsServed)
{
    ASSERT_EQ(0, CommServerStart());
    FakeClockAwaitWaiters(2);
    FakeFailThreadStart(1, EAGAIN);
    LocalPeer first, second;
    ASSERT_TRUE(first.Connect());
    EXPECT_TRUE(first.AtEnd());
    EXPECT_TRUE(AwaitLog("create instance err."));
    EXPECT_EQ(0, InstanceState);
    EXPECT_EQ(0, CommClientReg);
    ASSERT_TRUE(second.Connect());
    EXPECT_TRUE(Served());
    EXPECT_TRUE(Answered(&second, 1));
}

// ---- Stop ----

TEST_F(CommServer, StopsWhileItWaitsForAPeer)
{
    ASSERT_EQ(0, CommServerStart());
    FakeClockAwaitWaiters(2);
    ASSERT_TRUE(Within([] { return std::filesystem::exists(kPathCommServer); }));
    CommServerStop();
    EXPECT_EQ(0, CommRun);
    EXPECT_FALSE(std::filesystem::exists(kPathCommServer));
}

TEST_F(CommServer, StopsWhileAPeerIsConnectedAndClosesTheConnection)
{
    LocalPeer peer;
    Serve(&peer);
    CommServerStop();
    EXPECT_TRUE(peer.AtEnd());
    EXPECT_EQ(0, InstanceState);
    EXPECT_EQ(0, InstanceSocket);
    EXPECT_EQ("create a instance...\nClose instance.\n", Lines(AllLogged(), "ServerThread"));
}

TEST_F(CommServer, StopsInThePausesOfHandlerReaperAndRefusal)
{
    LocalPeer first, second, third;
    Serve(&first);
    ASSERT_TRUE(Answered(&first, 1));
    first.Close();
    ASSERT_TRUE(AwaitLog("release ok"));
    ASSERT_TRUE(second.Connect());
    ASSERT_TRUE(Served());
    ASSERT_TRUE(third.Connect());
    ASSERT_TRUE(third.AtEnd());
    FakeClockAwaitSleepers(3);
    CommServerStop(); // although the clock does not advance
    EXPECT_TRUE(second.AtEnd());
}

TEST_F(CommServer, StopsWhileAPeerWaitsForTheReaper)
{
    LocalPeer first, second, third;
    Serve(&first);
    first.Close();
    ASSERT_TRUE(AwaitLog("release ok"));
    FakeClockAwaitSleepers(1);
    ASSERT_TRUE(second.Connect());
    ASSERT_TRUE(Served());
    second.Close();
    ASSERT_TRUE(AwaitLog("Close instance.", 2));
    ASSERT_TRUE(third.Connect());
    FakeClockAwaitWaiters(3);
    CommServerStop(); // although the clock does not advance
    EXPECT_TRUE(third.AtEnd());
}

TEST_F(CommServer, StopsTheWaitOfARequester)
{
    LocalPeer peer;
    Serve(&peer);
    Running requester([] {
        OsGuard guard(&gCommAnswer);
        while (CommRun == 1 && CommReceived != 1) OsWaitUntil(&gCommAnswer, OsNowMs() + 10000);
    });
    FakeClockAwaitSleepers(1);
    CommServerStop();
    requester.Join();
    EXPECT_EQ(0, CommReceived);
}

TEST_F(CommServer, StopsAndStartsAgain)
{
    for (int turn = 0; turn < 20; turn++) {
        LocalPeer peer;
        Serve(&peer);
        EXPECT_TRUE(Answered(&peer, 1));
        CommServerStop();
    }
}

TEST_F(CommServer, AStopWithoutARunningServerDoesNothing)
{
    CommServerStop();
    CommServerStop();
    EXPECT_EQ(0, CommRun);
}
