// Sessions whose response thread is busy: with long commands, with a body that arrives slowly, or for good. All threads
// of the session run; only the tests move the clock.
#include "functions/Ping.h"
#include "os/OsClock.h"
#include "platform/Protool.h"
#include "platform/Session.h"
#include "platform/SignOfLife.h"
#include "tests/unit/agent/AskedPeer.h"
#include "tests/unit/agent/PlatformSide.h"

namespace
{

const Bytes kAcknowledgement = Hex("CC DD 02 00 00 00 00");

class LongCommand : public LinkedTest
{
  protected:
    // Heartbeats every 20 s, from 20 ms on; the first one has been acknowledged.
    void SetUp() override
    {
        LinkedTest::SetUp();
        mHeartInterval = 20;
        Running starter([&] { EXPECT_EQ(0, HeartbeatStart(&context)); });
        AdvanceThroughWaits(10, 3);
        peer.ReceiveFrame(); // the rules request
        FakeClockAdvanceMs(10);
        starter.Join();
        FakeClockAwaitWaiters(3);
        AcknowledgeHeartbeat();
        ASSERT_TRUE(Within([] { return mHeartTime != 0; }));
        ASSERT_TRUE(Within([] { return CurrentResponseState() == RESPONSE_WAITS; }));
        FakeClockAdvanceMs(10); // the pause behind the frame
    }
    void TearDown() override
    {
        FakeClockAuto(true);
        DeleteHeartbear(&context);
        LinkedTest::TearDown();
    }

    void AcknowledgeHeartbeat() { AnswerHeartbeat(kAcknowledgement); }

    // Answers a heartbeat with these bytes, which count as soon as they arrive.
    void AnswerHeartbeat(const Bytes &bytes)
    {
        ASSERT_EQ(1 | 1 << 5, peer.ReceiveFrame()[2]);
        ASSERT_TRUE(peer.Send(bytes));
        ASSERT_TRUE(Within([] { return SilenceMs() == 0; }));
    }

    // Lets so many heartbeats pass, each answered with these bytes. `waiters`: threads that wait.
    void PassHeartbeats(int count, int waiters, const Bytes &answer = kAcknowledgement)
    {
        for (int beat = 0; beat < count; beat++) {
            AdvanceThroughWaits(20000 - (OsNowMs() - 20) % 20000, waiters);
            AnswerHeartbeat(answer);
        }
    }

    void ExpectReply(uint16_t id)
    {
        const Bytes frame = peer.ReceiveFrame();
        ASSERT_GT(frame.size(), 9u) << "nothing was answered";
        const Bytes plain = Decrypted(Bytes(frame.begin() + 9, frame.end()));
        ASSERT_GE(plain.size(), 15u);
        EXPECT_EQ(id, plain[13] | plain[14] << 8); // behind 11 bytes of record and the tag
    }

    // The session lives until this time and ends then. Checks are made at whole tens of seconds.
    void ExpectEndAt(int64_t endMs, int waiters)
    {
        AdvanceThroughWaits(endMs - 1 - OsNowMs(), waiters);
        EXPECT_EQ(0, mQuitPro);
        FakeClockAdvanceMs(1);
        EXPECT_TRUE(Within([] { return mQuitPro == 1; }));
    }

    void SendFunction(uint16_t id, const Bytes &parameters = {})
    {
        ASSERT_TRUE(peer.Send(FunctionFrame(id, parameters)));
    }

    Bytes FunctionFrame(uint16_t id, const Bytes &parameters = {})
    {
        const Bytes request = Hex("A5 5A") + Bytes{uint8_t(id), uint8_t(id >> 8)} + Bytes(6, 0) + parameters;
        const ReceivedFrame frame = ReceivedRecord(20, {}, Record(uint8_t(id), mac, request));
        const uint16_t bodyLen = frame.header.bodyLen;
        return Hex("CC DD 34 00") + Bytes{frame.header.checksum, uint8_t(bodyLen), uint8_t(bodyLen >> 8)} +
               Bytes(frame.body, frame.body + bodyLen);
    }

    // A ping that goes on until it is told to end, and the response thread that waits for it.
    void BeginEndlessPing()
    {
        FakeScript lasting;
        lasting.lasts = true;
        FakeCommand("ping", lasting);
        ASSERT_TRUE(peer.Send(FunctionFrame(8, Hex("C0 A8 01 14") + Bytes(20, 1)) + FunctionFrame(9)));
        ExpectReply(8);
        FakeClockAwaitWaiters(4); // the pauses behind the frame and before the ping's first line, too
        FakeClockAdvanceMs(50);
        FakeClockAwaitWaiters(4); // the ping, and the response thread for it
    }

    // It outlasts the session, so somebody has to.
    void EndPing()
    {
        FakeClockAuto(true);
        FakeCommandEnd();
        EXPECT_TRUE(Within([] { return gPingThreadState == 0; }));
    }
};

} // namespace

// ---- Commands ----

TEST_F(LongCommand, TwoRequestsToALocalPeerThatIsSilentForAMinuteCostNoSession)
{
    AskedPeer local;
    for (int request = 0; request < 2; request++) SendFunction(79);
    for (int request = 0; request < 2; request++) {
        EXPECT_FALSE(local.Frame().empty());
        const int64_t begin = OsNowMs();
        PassHeartbeats(3, 3);
        AdvanceThroughWaits(begin + 60000 - OsNowMs(), 3);
        ExpectReply(79);
        AdvanceThroughWaits(10, 3); // the pause behind the frame
    }
    EXPECT_EQ(0, mQuitPro);
}

TEST_F(LongCommand, AWaitForAPingOf84SecondsCostsNoSession)
{
    BeginEndlessPing();
    PassHeartbeats(4, 4);
    AdvanceThroughWaits(4000, 4);
    FakeCommandEnd();
    ExpectReply(9);
    PassHeartbeats(4, 3);
    EXPECT_EQ(0, mQuitPro);
}

TEST_F(LongCommand, APlatformThatSendsNothingMeanwhileIsNoticedAfterThreeIntervals)
{
    BeginEndlessPing();
    ExpectEndAt(70000, 4); // heard at 20 ms
    EndPing();
}

TEST_F(LongCommand, APlatformThatFallsSilentMeanwhileIsNoticedAfterThreeIntervals)
{
    BeginEndlessPing();
    PassHeartbeats(2, 4);
    ExpectEndAt(110000, 4); // heard at 40020 ms
    EndPing();
}

TEST_F(LongCommand, WithoutALongCommandBytesCountOnlyWhenTheyAreDispatched)
{
    for (int beat = 0; beat < 3; beat++) {
        AdvanceThroughWaits(20000, 3);
        EXPECT_TRUE(peer.Send({0})); // begins no frame
    }
    ExpectEndAt(70000, 3);
}

// ---- Bodies ----

TEST_F(LongCommand, ABodyThatComesSlowlyCostsNoSession)
{
    const Bytes frame = FunctionFrame(1);
    const auto body = frame.begin() + 7;
    EXPECT_TRUE(peer.Send(Bytes(frame.begin(), body)));
    EXPECT_TRUE(Within([] { return QueueHoldsBegunFrame(); }));
    for (int i = 0; i < 6; i++) PassHeartbeats(1, 3, {body[i]});
    EXPECT_EQ(0, mQuitPro);
    EXPECT_TRUE(peer.Send(Bytes(body + 6, frame.end())));
    ExpectReply(1);
}

TEST_F(LongCommand, AHeaderThatIsFollowedByNothingEndsTheSession)
{
    const Bytes frame = FunctionFrame(1);
    EXPECT_TRUE(peer.Send(Bytes(frame.begin(), frame.begin() + 7)));
    ExpectEndAt(70000, 3);
}

// ---- Staying ----

TEST_F(LongCommand, NothingCountsWhileAThreadStaysOnABadItem)
{
    SendFunction(66, Text("{\"LIST\":[{\"FLAG\":\"2\",\"MAC\":\"02:11:22:33:44:55\",\"UP\":\"1\",\"DOWN\":\"1\"}]}"));
    ASSERT_TRUE(Within([] { return CurrentResponseState() == RESPONSE_STAYS; }));
    for (int beat = 0; beat < 3; beat++) {
        AdvanceThroughWaits(20000, 3);
        EXPECT_TRUE(peer.Send(kAcknowledgement));
    }
    ExpectEndAt(70000, 3);
}

TEST_F(LongCommand, TheNextSessionCountsAgain)
{
    SetResponseState(RESPONSE_STAYS);
    Unlink();
    FakeClockAuto(false);
    ASSERT_EQ(0, ServerInit("127.0.0.1", peer.Port(), &context));
    ASSERT_TRUE(peer.Accept());
    FakeClockAwaitWaiters(3);
    FakeClockAdvanceMs(5000);
    const Bytes frame = FunctionFrame(1);
    EXPECT_TRUE(peer.Send(Bytes(frame.begin(), frame.begin() + 7)));
    EXPECT_TRUE(Within([] { return CurrentResponseState() == RESPONSE_OCCUPIED; }));
    EXPECT_LE(5000, SilenceMs());
    EXPECT_TRUE(peer.Send({frame[7]}));
    EXPECT_TRUE(Within([] { return SilenceMs() == 0; }));
}
