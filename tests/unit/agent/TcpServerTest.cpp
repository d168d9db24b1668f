#include "platform/TcpServer.h"

#include <cerrno>
#include <cstring>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include "platform/Protool.h"
#include "tests/fakes/FakeLibraries.h"
#include "tests/unit/agent/LinkTest.h"

namespace
{

class TcpServer : public FrameLinkTest
{
  protected:
    void SetUp() override
    {
        FrameLinkTest::SetUp();
        FakeLibrariesReset();
    }
    void TearDown() override
    {
        FrameLinkTest::TearDown();
        FakeLibrariesReset();
    }
    // Text by text, in this order.
    void ExpectLog(std::initializer_list<std::string> texts)
    {
        const std::string log = Log();
        size_t at = 0;
        for (const std::string &text : texts) {
            const size_t found = log.find("->SocketInit->", at);
            ASSERT_NE(std::string::npos, found) << text << " not in " << log;
            at = log.find("]-> ", found) + 4;
            EXPECT_EQ(text + "\n\n", log.substr(at, text.size() + 2));
        }
    }
};

} // namespace

// ---- ServerInit ----

TEST_F(TcpServer, InitConnectsAndStartsBothThreads)
{
    EXPECT_EQ(0, Init());
    EXPECT_TRUE(mPeer.Accept());
    EXPECT_EQ(1, ServerRun);
    EXPECT_EQ(2, mContext.serverThreads);
    EXPECT_NE(0u, mContext.responseThread);
    EXPECT_NE(0u, mContext.receiveThread);
    EXPECT_TRUE(Logged("connected."));
}

TEST_F(TcpServer, InitLogsTheConnectionAtDebugLevelAsSocketInit)
{
    Init();
    EXPECT_EQ(0u, Log().find("2023-11-14 22:13:20 [DEBUG] [TcpServer->SocketInit->"));
}

TEST_F(TcpServer, InitSetsReuseAddressAndTheSendBuffer)
{
    Init();
    EXPECT_EQ(1, FakeSocketOption(SO_REUSEADDR));
    EXPECT_EQ(16384, FakeSocketOption(SO_SNDBUF));
}

TEST_F(TcpServer, TheUserTimeoutIsThreeHeartbeatIntervalsAndFollowsThem)
{
    Init();
    EXPECT_EQ(150000, FakeSocketOption(TCP_USER_TIMEOUT, IPPROTO_TCP));
    mHeartInterval = 32767;
    ServerFollowInterval();
    EXPECT_EQ(98301000, FakeSocketOption(TCP_USER_TIMEOUT, IPPROTO_TCP));
}

TEST_F(TcpServer, AKernelWithoutAUserTimeoutIsNoError)
{
    FakeFailSocketOption(TCP_USER_TIMEOUT, IPPROTO_TCP);
    Connect();
    EXPECT_EQ(-1, FakeSocketOption(TCP_USER_TIMEOUT, IPPROTO_TCP));
    EXPECT_TRUE(mPeer.Send(Hex(kShort)));
    EXPECT_TRUE(AwaitFrames(1));
}

TEST_F(TcpServer, InitIsRefusedWhileTheClientRuns)
{
    Connect();
    SessionContext other = {};
    EXPECT_EQ(-1, ServerInit("127.0.0.1", mPeer.Port(), &other));
    ExpectLog({"Client running."});
    EXPECT_EQ(0, other.serverThreads);
    EXPECT_TRUE(mPeer.Send(Hex(kShort))); // the one that runs is not disturbed
    EXPECT_TRUE(AwaitFrames(1));
}

TEST_F(TcpServer, InitEmptiesTheQueue)
{
    const Bytes old = Hex(kLong);
    push(old.data(), old.size());
    Connect();
    mPeer.Send(Hex(kShort));
    ASSERT_TRUE(AwaitFrames(1));
    EXPECT_EQ(18, Frame(0).header.msgType);
}

TEST_F(TcpServer, AFailedConnectIsLoggedAndKeepsServerRun)
{
    EXPECT_EQ(-1, ServerInit("127.0.0.1", 1, &mContext)); // nobody listens there
    ExpectLog({"connect failed!......", "SocketInit error"});
    EXPECT_EQ(1, ServerRun);
    EXPECT_EQ(0, mContext.serverThreads);
    EXPECT_EQ(-1, Init());
    ExpectLog({"Client running."});
    Stop();
    EXPECT_EQ(0, ServerRun);
    EXPECT_EQ(0, Init());
}

TEST_F(TcpServer, AnAddressThatIsNotDottedTextDoesNotConnect)
{
    for (const char *address : {"", "localhost", "127.0.0.1x", "1.2.3"}) {
        EXPECT_EQ(-1, ServerInit(address, mPeer.Port(), &mContext)) << address;
        ExpectLog({"connect failed!......", "SocketInit error"});
        Stop();
        Log();
    }
    EXPECT_EQ(0, FakeLookUps());
}

TEST_F(TcpServer, ASocketThatCannotBeCreatedIsLogged)
{
    FakeFailSocket();
    EXPECT_EQ(-1, Init());
    ExpectLog({"Create socket failed!", "SocketInit error"});
    EXPECT_EQ(1, ServerRun);
}

TEST_F(TcpServer, OptionsThatCannotBeSetAreLoggedAndCloseTheSocket)
{
    const int before = dup(0);
    close(before);
    FakeFailSocketOption(SO_REUSEADDR);
    EXPECT_EQ(-1, Init());
    ExpectLog({"setsockopt(SO_REUSEADDR) Failed!", "SocketInit error"});
    Stop();
    FakeFailSocketOption(SO_SNDBUF);
    EXPECT_EQ(-1, Init());
    ExpectLog({"setsockopt(SO_SNDBUF) Failed!", "SocketInit error"});
    Stop();
    EXPECT_EQ(-1, ServerInit("127.0.0.1", 1, &mContext));
    const int after = dup(0);
    close(after);
    EXPECT_EQ(before, after) << "a socket was left open";
}

TEST_F(TcpServer, AResponseThreadThatCannotStartIsLoggedAndLeavesNoThread)
{
    FakeFailThreadStart(1, EAGAIN);
    EXPECT_EQ(-1, Init());
    const std::string log = Log();
    EXPECT_NE(std::string::npos, log.find("[ERR] [TcpServer->SocketInit->"));
    EXPECT_NE(std::string::npos, log.find("]-> Create response thread failed\n\n"));
    EXPECT_EQ(std::string::npos, log.find("SocketInit error"));
    EXPECT_EQ(0, mContext.serverThreads);
    EXPECT_EQ(1, ServerRun);
    ASSERT_TRUE(mPeer.Accept());
    Stop();
    EXPECT_TRUE(mPeer.AtEnd()); // the socket is closed there at the latest
}

TEST_F(TcpServer, AReceiveThreadThatCannotStartIsLoggedAndLeavesTheResponseThread)
{
    FakeFailThreadStart(2, EAGAIN);
    EXPECT_EQ(-1, Init());
    const std::string log = Log();
    EXPECT_NE(std::string::npos, log.find("]-> Create receive thread error.\n\n"));
    EXPECT_EQ(std::string::npos, log.find("SocketInit error"));
    EXPECT_EQ(1, mContext.serverThreads);
    EXPECT_EQ(1, ServerRun);
    ASSERT_TRUE(mPeer.Accept());
    EXPECT_EQ(0, Stop());
    EXPECT_EQ(0, mContext.serverThreads);
    EXPECT_TRUE(mPeer.AtEnd());
}

// ---- DeleteServer ----

TEST_F(TcpServer, DeleteClearsServerRunPausesOneSecondThenClosesTheSocket)
{
    Connect();
    Running deleter([this] { EXPECT_EQ(0, DeleteServer(&mContext)); });
    FakeClockAwaitSleepers(1);
    EXPECT_EQ(0, ServerRun);
    EXPECT_EQ(1000, FakeClockNextDeadlineMs());
    EXPECT_EQ(2, mContext.serverThreads);
    FakeClockAdvanceMs(999);
    EXPECT_EQ(1, FakeClockNextDeadlineMs());
    FakeClockAdvanceMs(1);
    deleter.Join();
    EXPECT_EQ(0, mContext.serverThreads);
    EXPECT_TRUE(mPeer.AtEnd());
    EXPECT_EQ("", StatusFile()); // asked for, so no lost link
    EXPECT_EQ(0, mQuitPro);
}

TEST_F(TcpServer, DeleteWithoutThreadsJoinsNone)
{
    FakeFailThreadJoin(1, EINVAL);
    EXPECT_EQ(0, Stop());
    EXPECT_EQ("", Log());
}

TEST_F(TcpServer, DeleteWithOnlyTheResponseThreadJoinsThatOne)
{
    FakeFailThreadStart(2, EAGAIN);
    Init();
    Log();
    FakeFailThreadJoin(1, EINVAL);
    EXPECT_EQ(EINVAL, Stop());
    const std::string log = Log();
    EXPECT_NE(std::string::npos, log.find("]-> Stop response thread error...\n\n"));
    EXPECT_EQ(std::string::npos, log.find("Stop rtsp"));
}

TEST_F(TcpServer, DeleteReturnsTheLastJoinsResult)
{
    Connect();
    FakeFailThreadJoin(1, EINVAL); // the response thread's
    EXPECT_EQ(0, Stop());
    EXPECT_TRUE(Logged("Stop response thread error..."));
    Connect();
    FakeFailThreadJoin(2, EDEADLK); // the receive thread's
    EXPECT_EQ(EDEADLK, Stop());
    const std::string log = Log();
    EXPECT_NE(std::string::npos, log.find("]-> Stop rtsp client stream error...\n\n"));
    EXPECT_EQ(std::string::npos, log.find("Stop response"));
}

TEST_F(TcpServer, CanBeStartedAgainAfterDelete)
{
    for (int i = 0; i < 3; i++) {
        Connect();
        mPeer.Send(Hex(kShort));
        EXPECT_TRUE(AwaitFrames(static_cast<size_t>(i) + 1));
        EXPECT_EQ(0, Stop());
        EXPECT_TRUE(mPeer.AtEnd());
    }
}

TEST_F(TcpServer, DeleteEndsAThreadThatWaitsBetweenFrames)
{
    Connect();
    mPeer.Send(Hex(std::string(kShort) + kShort));
    ASSERT_TRUE(AwaitFrames(1));
    FakeClockAwaitSleepers(1);
    EXPECT_EQ(0, Stop());
    EXPECT_EQ(1u, FrameCount());
}

// ---- Response thread ----

TEST_F(TcpServer, PassesEachFrameOnWithAllItsParts)
{
    Connect();
    mPeer.Send(Hex(kLong));
    ASSERT_TRUE(AwaitFrames(1));
    const ReceivedFrame &frame = Frame(0);
    EXPECT_EQ(20, frame.header.msgType);
    EXPECT_EQ(1, frame.header.flag);
    EXPECT_EQ(0x5A, frame.header.checksum);
    EXPECT_EQ(Hex("0B 0C"), Bytes(frame.head, frame.head + frame.header.headLen));
    EXPECT_EQ(Hex("A1 B2 C3"), Bytes(frame.body, frame.body + frame.header.bodyLen));
    EXPECT_EQ(0xB2A1, frame.firstWord);
}

TEST_F(TcpServer, LogsTheLengthsOfASessionAcknowledgement)
{
    Connect();
    mPeer.Send(Hex("CC DD 0B 02 00 03 00  00 00  01 02 03"));
    ASSERT_TRUE(AwaitFrames(1));
    const std::string log = Log();
    EXPECT_NE(std::string::npos, log.find("[DEBUG] [TcpServer->RespProc->"));
    EXPECT_NE(std::string::npos, log.find("]-> regist or connnect ack len = 3,2\n\n"));
}

TEST_F(TcpServer, LogsNoLengthsOfOtherFrames)
{
    Connect();
    mPeer.Send(Hex(kLong));
    ASSERT_TRUE(AwaitFrames(1));
    EXPECT_EQ("", Log());
}

TEST_F(TcpServer, PausesTenMillisecondsBetweenFrames)
{
    Connect();
    mPeer.Send(Hex(std::string(kShort) + kLong));
    ASSERT_TRUE(AwaitFrames(1));
    FakeClockAwaitSleepers(1);
    EXPECT_EQ(10, FakeClockNextDeadlineMs());
    FakeClockAdvanceMs(9);
    EXPECT_EQ(1, FakeClockNextDeadlineMs());
    EXPECT_EQ(1u, FrameCount());
    FakeClockAdvanceMs(1);
    ASSERT_TRUE(AwaitFrames(2));
    EXPECT_EQ(20, Frame(1).header.msgType);
}

TEST_F(TcpServer, TakesAFrameThatComesInThePauseAtItsEnd)
{
    Connect();
    mPeer.Send(Hex(kShort));
    ASSERT_TRUE(AwaitFrames(1));
    FakeClockAwaitWaiters(1);
    FakeClockAdvanceMs(4);
    mPeer.Send(Hex(kLong));
    FakeClockAwaitSleepers(1);
    EXPECT_EQ(6, FakeClockNextDeadlineMs());
    FakeClockAdvanceMs(5);
    EXPECT_EQ(1, FakeClockNextDeadlineMs());
    EXPECT_EQ(1u, FrameCount());
    FakeClockAdvanceMs(1);
    EXPECT_TRUE(AwaitFrames(2));
}

TEST_F(TcpServer, TakesAFrameThatComesAfterThePauseAtOnceAndPausesAgain)
{
    Connect();
    mPeer.Send(Hex(kShort));
    ASSERT_TRUE(AwaitFrames(1));
    size_t frames = 1;
    for (int64_t later : {10, 25, 5000}) {
        FakeClockAwaitWaiters(1);
        FakeClockAdvanceMs(later);
        mPeer.Send(Hex(std::string(kShort) + kShort));
        ASSERT_TRUE(AwaitFrames(frames + 1)) << later; // with the clock at a standstill
        FakeClockAwaitSleepers(1);
        EXPECT_EQ(10, FakeClockNextDeadlineMs());
        EXPECT_EQ(frames + 1, FrameCount());
        FakeClockAdvanceMs(10);
        ASSERT_TRUE(AwaitFrames(frames += 2));
    }
}

TEST_F(TcpServer, SleepsWithoutADeadlineWhileIdle)
{
    Connect();
    FakeClockAwaitWaiters(1); // the response thread
    EXPECT_EQ(-1, FakeClockNextDeadlineMs());
    const int waits = FakeClockWaits();
    mPeer.Send(Hex(kShort));
    ASSERT_TRUE(AwaitFrames(1));
    FakeClockAwaitWaiters(1);
    EXPECT_EQ(-1, FakeClockNextDeadlineMs()); // behind a frame neither: its pause is not worth waking up for
    EXPECT_EQ(waits + 1, FakeClockWaits());
    EXPECT_EQ(-1, FakeReadableTimeoutMs()); // the receive thread
}

TEST_F(TcpServer, AcceptsAFrameWhereverItIsSplit)
{
    Connect();
    FakeClockAuto(true);
    const Bytes whole = Hex(std::string("00 CC 11") + kLong);
    for (size_t split = 1; split < whole.size(); split++) {
        ASSERT_TRUE(mPeer.Send(Bytes(whole.begin(), whole.begin() + static_cast<long>(split))));
        ASSERT_TRUE(mPeer.Send(Bytes(whole.begin() + static_cast<long>(split), whole.end())));
        ASSERT_TRUE(AwaitFrames(split)) << split;
        EXPECT_EQ(0, memcmp(Frame(split - 1).body, "\xA1\xB2\xC3", 3));
    }
}

TEST_F(TcpServer, AcceptsAFrameThatComesByteByByte)
{
    Connect();
    FakeClockAuto(true);
    for (uint8_t byte : Hex(kLong)) ASSERT_TRUE(mPeer.Send({byte}));
    ASSERT_TRUE(AwaitFrames(1));
    EXPECT_EQ(0xB2A1, Frame(0).firstWord);
}

TEST_F(TcpServer, HandlesManyFramesOfOneSegmentInTheirOrder)
{
    Connect();
    FakeClockAuto(true);
    Bytes all;
    for (uint8_t i = 0; i < 200; i++) {
        const Bytes frame = {0xCC, 0xDD, 0x12, 0, i, 1, 0, i};
        all.insert(all.end(), frame.begin(), frame.end());
    }
    ASSERT_TRUE(mPeer.Send(all));
    ASSERT_TRUE(AwaitFrames(200));
    for (size_t i = 0; i < 200; i++) {
        EXPECT_EQ(i, Frame(i).header.checksum);
        EXPECT_EQ(i, Frame(i).body[0]);
    }
}

// ---- SendData ----

TEST_F(TcpServer, SendRefusesNullAndLengthsOutside1To8192)
{
    Connect();
    const Bytes bytes(8193, 0x11);
    EXPECT_EQ(-1, SendData(nullptr, 8));
    EXPECT_EQ(-1, SendData(bytes.data(), 0));
    EXPECT_EQ(-1, SendData(bytes.data(), 8193));
    const Bytes frame = Hex(kShort);
    EXPECT_EQ(0, SendData(frame.data(), frame.size()));
    EXPECT_EQ(frame, mPeer.ReceiveFrame()) << "something left before";
}

TEST_F(TcpServer, SendTakes8192Bytes)
{
    Connect();
    Bytes frame = Hex("CC DD 31 00 00 F9 1F"); // 8185
    frame.resize(8192, 0x11);
    EXPECT_EQ(0, SendData(frame.data(), frame.size()));
    EXPECT_EQ(frame, mPeer.ReceiveFrame());
}

TEST_F(TcpServer, SendWithoutAConnectionIsRefused)
{
    const uint8_t byte = 0;
    EXPECT_EQ(-1, SendData(&byte, 1));
    Connect();
    EXPECT_EQ(0, SendData(&byte, 1));
    Stop();
    EXPECT_EQ(-1, SendData(&byte, 1));
}

TEST_F(TcpServer, SendDoesNotRepeatAFrameThatAFullSocketDidNotTake)
{
    Connect();
    Bytes frame = Hex("CC DD 31 00 00 F9 1F"); // 8185
    frame.resize(8192, 0x11);
    size_t taken = 0;
    while (SendData(frame.data(), frame.size()) == 0) ASSERT_LT(++taken, 10000u);
    Stop(); // returns: the send did not wait for room
    size_t arrived = 0;
    while (mPeer.ReceiveFrame().size() == 8192) arrived++;
    EXPECT_EQ(taken, arrived);
}
