// How the two threads of the connection take turns to receive and to handle frames.
#include <atomic>
#include <pthread.h>

#include "os/OsClock.h"
#include "platform/SignOfLife.h"
#include "tests/unit/agent/LinkTest.h"

namespace
{

// What the frame handler has seen; it goes on when the test lets it.
OsWaiter s_gate;
bool s_open;                    // guarded by s_gate, as is the next
std::vector<uint8_t> s_handled; // checksums, by which a test tells frames apart
std::atomic<int> s_inside;
std::atomic<bool> s_together;
std::atomic<pthread_t> s_thread; // that handled the last frame

void Handle(const ReceivedFrame &frame)
{
    if (s_inside++ > 0) s_together = true;
    s_thread = pthread_self();
    OsGuard guard(&s_gate);
    s_handled.push_back(frame.header.checksum);
    OsWakeAll(&s_gate);
    while (!s_open) OsWaitUntil(&s_gate, OS_FOREVER);
    s_inside--;
}

class TcpServerTurns : public LinkTest
{
  protected:
    void SetUp() override
    {
        LinkTest::SetUp();
        ServerOnFrame(Handle);
        s_handled.clear();
        s_inside = 0;
        s_together = false;
        s_open = true;
    }
    void TearDown() override
    {
        Open();
        LinkTest::TearDown();
        EXPECT_FALSE(s_together) << "two frames at a time";
    }

    static void Open()
    {
        OsGuard guard(&s_gate);
        s_open = true;
        OsWakeAll(&s_gate);
    }

    static std::vector<uint8_t> Handled()
    {
        OsGuard guard(&s_gate);
        return s_handled;
    }

    static bool AwaitHandled(size_t count)
    {
        return Within([=] { return Handled().size() >= count; });
    }

    // Whether nothing is being handled any more and the end of the pause is known.
    static bool AwaitRest()
    {
        return Within([] { return CurrentResponseState() == RESPONSE_WAITS; });
    }

    static Bytes Frame(uint8_t msgType, uint8_t number) { return {0xCC, 0xDD, msgType, 0, number, 0, 0}; }
    static Bytes Command(uint8_t number) { return Frame(MSG_PLUG_COMMAND, number); }
};

} // namespace

TEST_F(TcpServerTurns, AnswersOfTheSessionWakeOnlyTheThreadThatReceives)
{
    Connect();
    FakeClockAwaitWaiters(1); // the other one
    const int waits = FakeClockWaits();
    size_t answers = 0;
    for (uint8_t msgType : {MSG_SESSION_ACK, MSG_HEARTBEAT_ACK, MSG_HEARTBEAT_ACK}) {
        ASSERT_TRUE(mPeer.Send(Frame(msgType, 1)));
        ASSERT_TRUE(AwaitHandled(++answers));
        EXPECT_TRUE(pthread_equal(mContext.receiveThread, s_thread));
        ASSERT_TRUE(AwaitRest());
        FakeClockAdvanceMs(10);
    }
    EXPECT_EQ(waits, FakeClockWaits());
    EXPECT_EQ(1, FakeClockWaiters());
}

TEST_F(TcpServerTurns, BytesThatMakeNoFrameWakeOnlyTheThreadThatReceives)
{
    Connect();
    FakeClockAwaitWaiters(1);
    const int waits = FakeClockWaits();
    ASSERT_TRUE(mPeer.Send(Hex("CC DD 12 00 01 02 00  0A")));
    ASSERT_TRUE(Within([] { return CurrentResponseState() == RESPONSE_OCCUPIED; })); // by its rest
    EXPECT_EQ(waits, FakeClockWaits());
    EXPECT_EQ(1, FakeClockWaiters());
    ASSERT_TRUE(mPeer.Send({0x0B}));
    EXPECT_TRUE(AwaitHandled(1));
}

TEST_F(TcpServerTurns, WhileACommandIsCarriedOutTheOtherThreadReceives)
{
    s_open = false;
    Connect();
    ASSERT_TRUE(mPeer.Send(Command(1)));
    ASSERT_TRUE(AwaitHandled(1));
    FakeClockAdvanceMs(5000);
    ASSERT_TRUE(mPeer.Send(Frame(MSG_HEARTBEAT_ACK, 2)));
    EXPECT_TRUE(Within([] { return SilenceMs() == 0; }));
    FakeClockAdvanceMs(5000);
    ASSERT_TRUE(mPeer.Send(Command(3)));
    EXPECT_TRUE(Within([] { return SilenceMs() == 0; }));
    EXPECT_EQ(1u, Handled().size()); // received, not handled
    Open();
    for (size_t count = 2; count <= 3; count++) {
        FakeClockAwaitSleepers(1);
        EXPECT_EQ(10, FakeClockNextDeadlineMs());
        EXPECT_EQ(count - 1, Handled().size());
        FakeClockAdvanceMs(10);
        ASSERT_TRUE(AwaitHandled(count));
    }
    EXPECT_EQ(std::vector<uint8_t>({1, 2, 3}), Handled());
}

TEST_F(TcpServerTurns, APauseKeepsNobodyFromReceiving)
{
    Connect();
    ASSERT_TRUE(mPeer.Send(Frame(MSG_HEARTBEAT_ACK, 1)));
    ASSERT_TRUE(AwaitHandled(1));
    ASSERT_TRUE(AwaitRest());
    ASSERT_TRUE(mPeer.Send(Frame(MSG_HEARTBEAT_ACK, 2)));
    FakeClockAwaitSleepers(1); // in the pause
    const Bytes command = Command(3);
    ASSERT_TRUE(mPeer.Send(Bytes(command.begin(), command.end() - 1)));
    mPeer.Close();
    FakeClockAwaitSleepers(2); // and behind an empty read
    FakeClockAuto(true);
    FakeClockAdvanceMs(10);
    EXPECT_TRUE(AwaitHandled(2));
}

TEST_F(TcpServerTurns, EveryFrameIsHandledOnceAndInOrderHoweverTheyCome)
{
    Connect();
    FakeClockAuto(true);
    std::vector<uint8_t> sent;
    for (int i = 0; i < 200; i++) {
        const uint8_t number = static_cast<uint8_t>(i);
        Bytes bytes = i % 3 == 0 ? Frame(MSG_HEARTBEAT_ACK, number) : Command(number);
        const long first = i % 8;
        ASSERT_TRUE(first == 0 || mPeer.Send(Bytes(bytes.begin(), bytes.begin() + first)));
        ASSERT_TRUE(first == 7 || mPeer.Send(Bytes(bytes.begin() + first, bytes.end())));
        sent.push_back(number);
        ASSERT_TRUE(i % 5 != 0 || AwaitHandled(sent.size())); // both: with and without frames that wait
    }
    ASSERT_TRUE(AwaitHandled(sent.size()));
    EXPECT_EQ(sent, Handled());
}

TEST_F(TcpServerTurns, AConnectionThatEndsInTheMiddleOfFramesLeavesNothingToTheNext)
{
    for (int i = 0; i < 50; i++) {
        Connect();
        const size_t before = Handled().size();
        FakeClockAuto(true);
        Bytes bytes;
        for (int frame = 0; frame < 1 + i % 4; frame++)
            for (uint8_t byte : Command(7)) bytes.push_back(byte);
        ASSERT_TRUE(mPeer.Send(bytes));
        ASSERT_TRUE(i % 2 != 0 || AwaitHandled(before + 1));
        EXPECT_EQ(0, Stop());
        EXPECT_TRUE(mPeer.AtEnd());
    }
}
