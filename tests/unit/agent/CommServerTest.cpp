// The local command server over its real socket: who is let in, what is read, how it begins and ends.
#include "comm/CommServer.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "comm/AutoReport.h"
#include "comm/CommHandle.h"
#include "comm/CommReports.h"
#include "os/OsClock.h"
#include "os/Paths.h"
#include "platform/Protool.h"
#include "tests/fakes/FakeLibraries.h"
#include "tests/unit/agent/CommTest.h"

namespace
{

const OsReadable F = OS_WAIT_FAILED;
const OsReadable R = OS_READABLE; // with nothing to read, so the read fails
const OsReadable T = OS_TIMED_OUT;

class CommServer : public AgentTest
{
  protected:
    void SetUp() override
    {
        AgentTest::SetUp();
        FakeLibrariesReset();
        mLogin = 1;
        // A file of our own, as threads log all the time: the shared capture loses what comes while it is looked at.
        mLogPath = FakeFolder() + "/log";
        mStderr = dup(STDERR_FILENO);
        const int file = open(mLogPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0600);
        dup2(file, STDERR_FILENO);
        close(file);
    }
    void TearDown() override
    {
        CommServerStop();
        dup2(mStderr, STDERR_FILENO);
        close(mStderr);
        EXPECT_EQ(0, FakeAllocationsAlive());
        FakeLibrariesReset();
        AgentTest::TearDown();
    }
    // Whether a peer is being served. The instance may be ahead of the accept thread, so both have to say so.
    static bool Served()
    {
        return Within([] { return InstanceSocket > 0 && InstanceState == 1; });
    }
    // The server with a peer that is being served.
    void Serve(LocalPeer *peer)
    {
        ASSERT_EQ(0, CommServerStart());
        ASSERT_TRUE(peer->Connect());
        ASSERT_TRUE(Served());
    }
    // What has been logged in this test.
    std::string AllLogged() const { return WithoutColours(FileContent(mLogPath)); }
    bool AwaitLog(const std::string &text, size_t times = 1)
    {
        return Within([&] { return Occurrences(AllLogged(), "]-> " + text + "\n\n") >= times; });
    }
    size_t LoggedTimes(const std::string &text) { return Occurrences(AllLogged(), "]-> " + text + "\n\n"); }
    // Sends an answer and waits until it has been handled.
    static bool Answered(LocalPeer *peer, uint32_t sequence)
    {
        CommReceived = 0;
        return peer->Send(LocalFrame(71, sequence, {0, 1})) && Within([] { return CommReceived == 1; });
    }
    static size_t OpenDescriptors()
    {
        const std::filesystem::directory_iterator all("/proc/self/fd");
        return static_cast<size_t>(std::distance(begin(all), end(all)));
    }

  private:
    std::string mLogPath;
    int mStderr = -1;
};

std::string Lines(const std::string &log, const std::string &function)
{
    std::string texts;
    for (size_t at = log.find("->" + function + "->"); at != std::string::npos;
         at = log.find("->" + function + "->", at + 1)) {
        const size_t begin = log.find("]-> ", at) + 4;
        texts += log.substr(begin, log.find("\n\n", begin) - begin) + "\n";
    }
    return texts;
}

} // namespace

// ---- Start ----

TEST_F(CommServer, StartsWithEverythingForgotten)
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

TEST_F(CommServer, TakesAPeerAndSaysSo)
{
    LocalPeer peer;
    Serve(&peer);
    EXPECT_EQ(1, InstanceState);
    EXPECT_EQ(1, CommClientReg);
    EXPECT_TRUE(AwaitLog("create a instance..."));
    EXPECT_NE(std::string::npos, AllLogged().find("[DEBUG] [CommServer->ServerThread->"));
    EXPECT_EQ(0u, AllLogged().find("2023-11-14 22:13:20 [DEBUG]")) << "nothing before it";
}

TEST_F(CommServer, ThreePeersMayWaitToBeLetIn)
{
    LocalPeer peer;
    Serve(&peer);
    EXPECT_EQ(3, FakeListenBacklog());
}

TEST_F(CommServer, ItsDescriptorsDoNotSurviveAnExecAndNeverBlock)
{
    LocalPeer peer;
    Serve(&peer);
    EXPECT_TRUE(fcntl(InstanceSocket, F_GETFD) & FD_CLOEXEC);
    EXPECT_TRUE(Within([] { return (fcntl(InstanceSocket, F_GETFL) & O_NONBLOCK) != 0; }));
}

TEST_F(CommServer, ASocketLeftFromAnEarlierRunDoesNotMatter)
{
    struct sockaddr_un stale = {};
    stale.sun_family = AF_UNIX;
    strcpy(stale.sun_path, kPathCommServer);
    const int old = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(0, bind(old, reinterpret_cast<struct sockaddr *>(&stale), sizeof stale));
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
    EXPECT_EQ("mine", FileContent(target));
}

TEST_F(CommServer, WithoutASocketTheAcceptThreadEndsForGood)
{
    FakeFailSocket();
    EXPECT_EQ(0, CommServerStart());
    EXPECT_TRUE(AwaitLog("Create socket failed"));
    EXPECT_EQ("Create socket failed\n", Lines(AllLogged(), "CommServerProc"));
    EXPECT_FALSE(std::filesystem::exists(kPathCommServer));
}

TEST_F(CommServer, WhereItCannotBindTheAcceptThreadEndsForGood)
{
    std::filesystem::create_directories(std::string(kPathCommServer) + "/planted");
    EXPECT_EQ(0, CommServerStart());
    EXPECT_TRUE(AwaitLog("bind failed"));
    EXPECT_EQ("bind failed\n", Lines(AllLogged(), "CommServerProc"));
}

TEST_F(CommServer, WhereItCannotListenTheAcceptThreadEndsForGood)
{
    const size_t before = OpenDescriptors();
    FakeFailListen();
    EXPECT_EQ(0, CommServerStart());
    EXPECT_TRUE(AwaitLog("listen failed"));
    EXPECT_EQ("listen failed\n", Lines(AllLogged(), "CommServerProc"));
    CommServerStop();
    EXPECT_EQ(before, OpenDescriptors());
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

TEST_F(CommServer, DoesNotStartWithoutOneOfItsThreadsButKeepsThoseThatRun)
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

TEST_F(CommServer, ASecondPeerIsShutOutAtOnceAndTheNextWaitsFiveSeconds)
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

TEST_F(CommServer, APeerThatHasGoneMakesRoomForTheNext)
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
    EXPECT_TRUE(third.AtEnd()) << "so it is shut out";
    FakeClockAwaitSleepers(2);
    FakeClockAdvanceMs(1000);
    EXPECT_TRUE(AwaitLog("release ok", 2));
    EXPECT_EQ(0, InstanceState);
}

TEST_F(CommServer, APeerThatClosesWithoutAByteLeavesEverybodyWaiting)
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

TEST_F(CommServer, AThousandPeersThatComeAndGoLeaveNothingBehind)
{
    LocalPeer peer;
    Serve(&peer);
    FakeClockAuto(true);
    const size_t before = OpenDescriptors();
    const auto threads = [] {
        const std::filesystem::directory_iterator all("/proc/self/task");
        return std::distance(begin(all), end(all));
    };
    const auto running = threads();
    for (uint32_t i = 1; i <= 1000; i++) {
        peer.Close();
        ASSERT_TRUE(Within([] { return InstanceState == 0; }));
        ASSERT_TRUE(peer.Connect());
        ASSERT_TRUE(Served());
        const bool silent = i % 4 == 0; // leaves without a byte
        ASSERT_TRUE(silent || Answered(&peer, i)) << i;
    }
    EXPECT_EQ(before, OpenDescriptors());
    EXPECT_EQ(running, threads());
    EXPECT_EQ(0u, LoggedTimes("link quntity is large."));
}

TEST_F(CommServer, AnAcceptThatFailsGetsAnInstanceThatEndsAtOnce)
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

TEST_F(CommServer, AcceptsThatKeepFailingDoNotSpin)
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

TEST_F(CommServer, APeerWhoseInstanceCannotBeMadeIsShutOutAndTheNextIsServed)
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

// ---- What is read ----

TEST_F(CommServer, AFrameIsHandledAtOnceAndTheNextTenMillisecondsLater)
{
    LocalPeer peer;
    Serve(&peer);
    EXPECT_TRUE(Answered(&peer, 1)); // although the clock stands still
    FakeClockAwaitSleepers(1);
    EXPECT_EQ(10, FakeClockNextDeadlineMs());
    CommReceived = 0;
    ASSERT_TRUE(peer.Send(LocalFrame(71, 2, {0, 1})));
    FakeClockAdvanceMs(9);
    FakeClockAwaitSleepers(1);
    EXPECT_EQ(0, CommReceived);
    FakeClockAdvanceMs(1);
    EXPECT_TRUE(Within([] { return CommReceived == 1; }));
}

TEST_F(CommServer, AFrameThatFailsACheckPausesTheHandlerToo)
{
    LocalPeer peer;
    Serve(&peer);
    ASSERT_TRUE(peer.Send({1, 2, 3}));
    ASSERT_TRUE(AwaitLog("Receive length error, length is 3"));
    FakeClockAwaitSleepers(1);
    EXPECT_EQ(10, FakeClockNextDeadlineMs());
}

TEST_F(CommServer, SeveralFramesInOneReadAreHandledOneByOne)
{
    LocalPeer peer;
    Serve(&peer);
    FakeClockAuto(true);
    ASSERT_TRUE(peer.Send(LocalFrame(1, 1, {0}) + LocalFrame(2, 2, {0, 1}) + LocalFrame(3, 3, {0, 1, 2})));
    EXPECT_TRUE(AwaitLog("comm_get_wan_cfg"));
    EXPECT_EQ("comm_get_version\ncomm_get_base_info\ncomm_get_wan_cfg\n", Lines(AllLogged(), "CommHandleProc"));
}

TEST_F(CommServer, AFurtherFrameThatIsCutOffIsCompletedByTheNextReads)
{
    LocalPeer peer;
    Serve(&peer);
    FakeClockAuto(true);
    const Bytes second = LocalFrame(2, 2, {0, 1, 2, 3, 4, 5});
    for (size_t cut = 1; cut + 1 < second.size(); cut++) {
        const Bytes head(second.begin(), second.begin() + static_cast<long>(cut));
        const Bytes middle(second.begin() + static_cast<long>(cut), second.end() - 1);
        CommReceived = 0;
        ASSERT_TRUE(peer.Send(LocalFrame(1, 1, {0}) + head));
        ASSERT_TRUE(AwaitLog("comm_get_version", cut));
        ASSERT_TRUE(peer.Send(middle)); // and this is not all of it either
        ASSERT_TRUE(peer.Send({5}));
        ASSERT_TRUE(AwaitLog("comm_get_base_info", cut)) << cut;
    }
    EXPECT_EQ(std::string::npos, AllLogged().find("error"));
}

TEST_F(CommServer, ManyFramesThatFillMoreThanOneReadAllArrive)
{
    LocalPeer peer;
    Serve(&peer);
    FakeClockAuto(true);
    Bytes all;
    for (uint32_t i = 1; i <= 6; i++) all = all + LocalFrame(70, i, Bytes(3000, static_cast<uint8_t>(i % 2)));
    ASSERT_EQ(18084u, all.size()); // three reads, two of them end inside a frame
    ASSERT_TRUE(peer.Send(all));
    EXPECT_TRUE(Within([] { return CommRxSeq == 6; }));
    EXPECT_EQ(std::string::npos, AllLogged().find("error"));
}

TEST_F(CommServer, AFrameThatAReadBeginsWithAndThatIsCutOffIsNotWaitedFor)
{
    LocalPeer peer;
    Serve(&peer);
    FakeClockAuto(true);
    const Bytes frame = LocalFrame(70, 1, {0, 1, 2, 3, 4, 5});
    ASSERT_TRUE(peer.Send(Bytes(frame.begin(), frame.begin() + 16)));
    EXPECT_TRUE(AwaitLog("Receive  checkSum error."));
    ASSERT_TRUE(peer.Send(Bytes(frame.begin() + 16, frame.end())));
    EXPECT_TRUE(AwaitLog("Receive length error, length is 4"));
    EXPECT_TRUE(Answered(&peer, 2)) << "the connection stays up";
}

TEST_F(CommServer, WhatAPeerDidNotCompleteIsNotHeldAgainstTheNext)
{
    LocalPeer first, second;
    Serve(&first);
    FakeClockAuto(true);
    const Bytes half = LocalFrame(70, 2, Bytes(100, 1));
    ASSERT_TRUE(first.Send(LocalFrame(1, 1, {0}) + Bytes(half.begin(), half.begin() + 50)));
    ASSERT_TRUE(AwaitLog("comm_get_version"));
    first.Close();
    ASSERT_TRUE(AwaitLog("release ok"));
    ASSERT_TRUE(second.Connect());
    EXPECT_TRUE(Answered(&second, 2));
}

TEST_F(CommServer, SequencesGoOnFromOnePeerToTheNext)
{
    LocalPeer first, second;
    Serve(&first);
    FakeClockAuto(true);
    ASSERT_TRUE(Answered(&first, 5));
    first.Close();
    ASSERT_TRUE(AwaitLog("release ok"));
    ASSERT_TRUE(second.Connect());
    ASSERT_TRUE(second.Send(LocalFrame(71, 5, {0, 1})));
    EXPECT_TRUE(AwaitLog("Receive  sequence error."));
    EXPECT_TRUE(Answered(&second, 6));
}

TEST_F(CommServer, NineFramesWaitAndATenthIsLost)
{
    LocalPeer peer;
    Serve(&peer);
    ASSERT_TRUE(Answered(&peer, 1));
    FakeClockAwaitSleepers(1); // the handler pauses, so that what comes now waits
    Bytes all;
    for (uint32_t i = 2; i <= 11; i++) all = all + LocalFrame(1, i, {0});
    ASSERT_TRUE(peer.Send(all));
    EXPECT_TRUE(AwaitLog("reveive data err=-2"));
    for (uint32_t i = 2; i <= 10; i++) {
        FakeClockAdvanceMs(10);
        EXPECT_TRUE(Within([i] { return CommRxSeq == i; })) << i;
        FakeClockAwaitSleepers(1);
    }
    FakeClockAdvanceMs(10);
    EXPECT_TRUE(Answered(&peer, 12)) << "and the connection stays up";
    EXPECT_EQ(1u, LoggedTimes("reveive data err=-2"));
    EXPECT_EQ(9u, LoggedTimes("comm_get_version"));
}

// ---- What goes wrong on the connection ----

TEST_F(CommServer, SixFailedWaitsInARowEndTheInstance)
{
    FakeReadableResults({F, F, F, F, F, F});
    ASSERT_EQ(0, CommServerStart());
    LocalPeer peer;
    ASSERT_TRUE(peer.Connect());
    EXPECT_TRUE(peer.AtEnd());
    EXPECT_TRUE(AwaitLog("release ok"));
    EXPECT_EQ("create a instance...\nError. socket err.\nClose instance.\n", Lines(AllLogged(), "ServerThread"));
}

TEST_F(CommServer, FiveFailedWaitsDoNot)
{
    FakeReadableResults({F, F, F, F, F});
    LocalPeer peer;
    Serve(&peer);
    EXPECT_TRUE(Answered(&peer, 1));
    EXPECT_EQ(0u, LoggedTimes("Error. socket err."));
}

TEST_F(CommServer, WaitsThatRunOutDoNotBreakTheRow)
{
    FakeReadableResults({F, T, F, F, T, F, F, T, F});
    ASSERT_EQ(0, CommServerStart());
    LocalPeer peer;
    ASSERT_TRUE(peer.Connect());
    EXPECT_TRUE(peer.AtEnd());
    EXPECT_TRUE(AwaitLog("Error. socket err."));
}

TEST_F(CommServer, BytesBreakTheRowOfFailedWaits)
{
    FakeClockAuto(true);
    FakeReadableResults({F, F, F, F, F});
    LocalPeer peer;
    Serve(&peer);
    ASSERT_TRUE(Answered(&peer, 1));
    FakeReadableResults({F, F, F, F, F});
    ASSERT_TRUE(Answered(&peer, 2)); // its bytes bring the thread to these five
    EXPECT_TRUE(Answered(&peer, 3));
    EXPECT_EQ(0u, LoggedTimes("Error. socket err."));
}

TEST_F(CommServer, AWaitThatEndsForSomethingElseEndsTheInstance)
{
    FakeReadableResults({OS_OTHER_EVENT});
    ASSERT_EQ(0, CommServerStart());
    LocalPeer peer;
    ASSERT_TRUE(peer.Connect());
    EXPECT_TRUE(peer.AtEnd());
    EXPECT_TRUE(AwaitLog("release ok"));
    EXPECT_EQ("create a instance...\nnet err.\nClose instance.\n", Lines(AllLogged(), "ServerThread"));
}

TEST_F(CommServer, SixFailedReadsInARowEndTheInstance)
{
    FakeReadableResults({R, R, T, R, R, R, R});
    ASSERT_EQ(0, CommServerStart());
    LocalPeer peer;
    ASSERT_TRUE(peer.Connect());
    EXPECT_TRUE(peer.AtEnd());
    EXPECT_TRUE(AwaitLog("release ok"));
    EXPECT_EQ("create a instance...\nClose link err.\nClose instance.\n", Lines(AllLogged(), "ServerThread"));
}

TEST_F(CommServer, FiveFailedReadsDoNotAndBytesBreakTheRow)
{
    FakeClockAuto(true);
    FakeReadableResults({R, R, R, R, R});
    LocalPeer peer;
    Serve(&peer);
    ASSERT_TRUE(Answered(&peer, 1));
    FakeReadableResults({R, R, R, R, R});
    ASSERT_TRUE(Answered(&peer, 2));
    EXPECT_TRUE(Answered(&peer, 3));
    EXPECT_EQ(0u, LoggedTimes("Close link err."));
}

// ---- Sending ----

TEST_F(CommServer, WithoutAPeerNothingCanBeSentAndNothingIsSaid)
{
    ASSERT_EQ(0, CommServerStart());
    const uint8_t byte = 1;
    EXPECT_EQ(-1, CommServerSend(&byte, 1));
    EXPECT_EQ("", Lines(AllLogged(), "CommServerSend"));
}

TEST_F(CommServer, SendsToThePeerAndSaysHowMuch)
{
    LocalPeer peer;
    Serve(&peer);
    const Bytes bytes = Hex("5A 5A 01 02 03");
    EXPECT_EQ(5, CommServerSend(bytes.data(), 5));
    EXPECT_EQ(bytes, peer.Receive(5));
    EXPECT_EQ(1u, LoggedTimes("send success"));
}

TEST_F(CommServer, SendingNothingIsTold)
{
    LocalPeer peer;
    Serve(&peer);
    const uint8_t byte = 1;
    EXPECT_EQ(0, CommServerSend(&byte, 0));
    EXPECT_EQ(1u, LoggedTimes("send count is 0"));
}

TEST_F(CommServer, SendingOnABrokenConnectionFailsWithoutASignal)
{
    signal(SIGPIPE, SIG_DFL); // would end the test
    LocalPeer peer;
    Serve(&peer);
    peer.StopReading();
    const uint8_t byte = 1;
    EXPECT_EQ(-1, CommServerSend(&byte, 1));
    EXPECT_EQ(1u, LoggedTimes("please reconnect server"));
}

TEST_F(CommServer, SendingToAPeerThatDoesNotReadFailsInsteadOfWaiting)
{
    LocalPeer peer;
    Serve(&peer);
    const Bytes bytes(1500, 1);
    int sent = 0;
    while (sent < 100000 && CommServerSend(bytes.data(), 1500) > 0) sent++;
    EXPECT_LT(sent, 100000);
    EXPECT_EQ(1u, LoggedTimes("please reconnect server"));
    EXPECT_TRUE(peer.Open() || !peer.Receive(1500).empty());
}

TEST_F(CommServer, ThePluginStateIsSentToThePeerThatAsks)
{
    LocalPeer peer;
    Serve(&peer);
    ASSERT_TRUE(peer.Send(LocalFrame(998, 1, Text("i"))));
    const std::string text = "{\"pluginState\":\"online\",\"pluginVersion\":\"2.0.0.7-20220406\"}";
    EXPECT_EQ(LocalFrame(998, 1, Text(text)), peer.Receive(14 + text.size()));
    EXPECT_TRUE(AwaitLog("send plugin state ok, no need ack."));
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
    CommServerStop(); // although the clock stands still
    EXPECT_TRUE(second.AtEnd());
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

TEST_F(CommServer, StoppingWhatDoesNotRunDoesNothing)
{
    CommServerStop();
    CommServerStop();
    EXPECT_EQ(0, CommRun);
}
