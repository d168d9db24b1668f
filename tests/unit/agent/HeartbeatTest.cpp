// The two threads that keep a session alive, over a logged-in connection; only the tests move the clock.
#include <cerrno>
#include <cjson/cJSON.h>
#include <cstdlib>
#include <cstring>

#include "CBHandle.h"
#include "os/OsClock.h"
#include "platform/Protool.h"
#include "platform/Session.h"
#include "tests/unit/agent/PlatformSide.h"

class HeartbeatTest : public LinkedTest
{
  protected:
    void TearDown() override
    {
        DeleteHeartbear(&context);
        LinkedTest::TearDown();
    }

    // Both threads run from here on: the check thread since 0 ms, the heartbeat thread since 20 ms.
    void Start()
    {
        int result = 1;
        Running starter([&] { result = HeartbeatStart(&context); });
        AdvanceThroughWaits(10, 3); // the response thread, the check thread, and our pauses
        ASSERT_EQ(17, TypeOf(peer.ReceiveFrame()));
        FakeClockAdvanceMs(10);
        starter.Join();
        ASSERT_EQ(0, result);
        ASSERT_EQ(1, TypeOf(peer.ReceiveFrame()));
        FakeClockAwaitWaiters(3);
    }

    static int TypeOf(const Bytes &frame) { return frame.size() < 7 ? -1 : frame[2] & 31; }

    void Acknowledge() { CBHandle(Received(2, {}, {})); }

    void AdvanceTo(int64_t time) { AdvanceThroughWaits(time - OsNowMs(), 3); }
};

TEST_F(HeartbeatTest, HeadHoldsTheTimeOfDay)
{
    mHeartInterval = 20;
    int result = 1;
    Running starter([&] { result = HeartbeatStart(&context); });
    AdvanceThroughWaits(10, 3);
    ASSERT_EQ(17, TypeOf(peer.ReceiveFrame()));
    FakeClockAdvanceMs(10);
    starter.Join();
    ASSERT_EQ(0, result);
    EXPECT_EQ(Hex("CC DD 21 04 A9 00 00  00 F1 53 65"), peer.ReceiveFrame()); // 1700000000
    AdvanceTo(20020);
    EXPECT_EQ(Hex("CC DD 21 04 BD 00 00  14 F1 53 65"), peer.ReceiveFrame()); // 1700000020
}

TEST_F(HeartbeatTest, IsSentOncePerInterval)
{
    for (int interval : {20, 60}) {
        mQuitPro = 0;
        mHeartInterval = static_cast<int16_t>(interval);
        Start();
        for (int beat = 0; beat < 3; beat++) {
            AdvanceThroughWaits(interval * 1000 - 1, 3);
            ExpectNothingSent();
            AdvanceThroughWaits(1, 3);
            EXPECT_EQ(1, TypeOf(peer.ReceiveFrame()));
        }
        DeleteHeartbear(&context);
    }
}

TEST_F(HeartbeatTest, AnIntervalBelowOneSendsTheNextHeartbeatAtOnce)
{
    mHeartInterval = -5;
    int result = 1;
    Running starter([&] { result = HeartbeatStart(&context); });
    AdvanceThroughWaits(10, 3);
    ASSERT_EQ(17, TypeOf(peer.ReceiveFrame()));
    FakeClockAdvanceMs(10);
    for (int beat = 0; beat < 5; beat++) EXPECT_EQ(1, TypeOf(peer.ReceiveFrame()));
    EXPECT_EQ(20, OsNowMs());
    starter.Join();
    EXPECT_EQ(0, result);
}

TEST_F(HeartbeatTest, ClearsTheAcknowledgementOfTheLastOne)
{
    mHeartInterval = 20;
    Start();
    Acknowledge();
    EXPECT_EQ(1, beepAck);
    AdvanceTo(20019);
    EXPECT_EQ(1, beepAck);
    AdvanceTo(20020);
    EXPECT_EQ(0, beepAck);
}

TEST_F(HeartbeatTest, BothThreadsEndAtOnceWhenTheSessionEnds)
{
    mHeartInterval = 60;
    Start();
    DeleteHeartbear(&context); // returns although the clock stands still
    EXPECT_EQ(20, OsNowMs());
    EXPECT_EQ(1, mQuitPro);
    EXPECT_EQ(0, context.checkRunning);
    EXPECT_EQ(0, context.heartbeatRunning);
    ExpectNothingSent();
    EXPECT_EQ(std::string::npos, Log().find("heart beep error"));
}

TEST_F(HeartbeatTest, TheSessionEndsSixtyToSeventySecondsAfterTheLastAcknowledgement)
{
    // Checks are made at whole tens of seconds; times of day are whole seconds.
    const struct {
        int64_t lastAckMs;
        int64_t endMs;
    } cases[] = {{20, 70000}, {5000, 70000}, {9990, 70000}, {10000, 80000}, {19990, 80000}};
    for (const auto &sample : cases) {
        FakeOsReset();
        mQuitPro = 0;
        mHeartTime = 0;
        mHeartInterval = 20;
        Start();
        AdvanceTo(sample.lastAckMs);
        Acknowledge();
        AdvanceTo(sample.endMs - 1);
        EXPECT_EQ(0, mQuitPro) << sample.lastAckMs;
        Log();
        FakeClockAdvanceMs(1);
        EXPECT_TRUE(Within([] { return mQuitPro == 1; })) << sample.lastAckMs;
        DeleteHeartbear(&context);
        EXPECT_NE(std::string::npos, Log().find("heart beep error\n"));
        EXPECT_GE(sample.endMs - sample.lastAckMs, 60000);
        EXPECT_LE(sample.endMs - sample.lastAckMs, 70000);
        for (int64_t beat = 20020; beat < sample.endMs; beat += 20000) EXPECT_EQ(1, TypeOf(peer.ReceiveFrame()));
        ExpectNothingSent();
    }
}

TEST_F(HeartbeatTest, ASilentPlatformIsNoticedAlthoughTheDateIsSetBack)
{
    mHeartInterval = 20;
    Start();
    AdvanceTo(5000);
    Acknowledge();
    AdvanceTo(25000);
    FakeClockSetWallTime(kFakeEpoch - 86400);
    AdvanceTo(69999);
    EXPECT_EQ(0, mQuitPro);
    FakeClockAdvanceMs(1);
    EXPECT_TRUE(Within([] { return mQuitPro == 1; }));
}

TEST_F(HeartbeatTest, SettingTheDateForwardEndsNoSession)
{
    mHeartInterval = 20;
    Start();
    for (int day = 1; day <= 10; day++) {
        Acknowledge();
        AdvanceThroughWaits(25000, 3); // the next heartbeat has cleared the acknowledgement
        FakeClockSetWallTime(kFakeEpoch + day * 86400);
        AdvanceThroughWaits(25000, 3);
        EXPECT_EQ(0, mQuitPro) << day;
    }
}

TEST_F(HeartbeatTest, SilenceBeforeTheFirstAcknowledgementEndsNoSession)
{
    mHeartInterval = 20;
    Start();
    AdvanceTo(600000);
    EXPECT_EQ(0, mQuitPro);
}

TEST_F(HeartbeatTest, AcknowledgedHeartbeatsKeepTheSessionAlive)
{
    mHeartInterval = 20;
    Start();
    for (int beat = 0; beat < 20; beat++) {
        Acknowledge();
        AdvanceThroughWaits(20000, 3);
    }
    EXPECT_EQ(0, mQuitPro);
}

TEST_F(HeartbeatTest, DataInPlaceOfAcknowledgementsKeepsTheSessionAlive)
{
    mHeartInterval = 20;
    Start();
    Acknowledge();
    for (int second = 0; second < 400; second++) {
        CBHandle(Received(26, {}, {})); // without a body: dropped, yet a sign of life
        AdvanceThroughWaits(1000, 3);
    }
    EXPECT_EQ(0, mQuitPro);
    EXPECT_EQ(uint32_t{kFakeEpoch}, mHeartTime);
}

// ---- Rules request ----

TEST_F(HeartbeatTest, RulesRequestIsTheMacAsFormattedJsonUnderDataTypeThirteen)
{
    const Bytes other = Hex("0A 0B 0C DE EF FF");
    memcpy(gRoutemac, other.data(), 6);
    RulesRequest();
    const Bytes frame = peer.ReceiveFrame();
    const std::string json = "{\n\t\"MAC\":\t\"0A0B0CDEEFFF\"\n}";
    const Bytes plain = Hex("00 00 0D 1A 00") + Text(json); // 26 characters
    ASSERT_EQ(7u + 32u, frame.size());
    EXPECT_EQ(Hex("CC DD 31 00") + Bytes{Sum(Hex("20 00") + plain)} + Hex("20 00"),
              Bytes(frame.begin(), frame.begin() + 7));
    EXPECT_EQ(plain, Decrypted(Bytes(frame.begin() + 7, frame.end())));
    EXPECT_NE(std::string::npos, Log().find("Send to platform: \n" + json + "\n"));
}

TEST_F(HeartbeatTest, RulesRequestIsNotSentWhileLoggedOut)
{
    mLogin = 0;
    RulesRequest();
    ExpectNothingSent();
}

TEST_F(HeartbeatTest, NoRulesRequestIsSentAndNoMemoryLeaksWhenAnAllocationFails)
{
    static int s_left, s_alive;
    cJSON_Hooks hooks = {
        [](size_t size) -> void * { return s_left-- > 0 && ++s_alive ? malloc(size) : nullptr; },
        [](void *memory) {
            s_alive -= memory != nullptr;
            free(memory);
        },
    };
    cJSON_InitHooks(&hooks);
    s_left = 1000;
    s_alive = 0;
    RulesRequest();
    const int needed = 1000 - s_left;
    EXPECT_EQ(17, TypeOf(peer.ReceiveFrame()));
    EXPECT_EQ(0, s_alive);
    EXPECT_GT(needed, 3);
    for (int allocations = 0; allocations < needed; allocations++) {
        s_left = allocations;
        RulesRequest();
        EXPECT_EQ(0, s_alive) << allocations;
    }
    ExpectNothingSent();
    cJSON_InitHooks(nullptr);
}

// ---- Start and end of the threads ----

TEST_F(HeartbeatTest, RulesRequestIsSentBetweenThePausesOfTheThreadStarts)
{
    mHeartInterval = 20;
    int result = 1;
    Running starter([&] { result = HeartbeatStart(&context); });
    FakeClockAwaitWaiters(3);
    EXPECT_EQ(10, FakeClockNextDeadlineMs());
    ExpectNothingSent();
    FakeClockAdvanceMs(10);
    EXPECT_EQ(17, TypeOf(peer.ReceiveFrame()));
    FakeClockAwaitWaiters(3);
    EXPECT_EQ(10, FakeClockNextDeadlineMs());
    ExpectNothingSent();
    FakeClockAdvanceMs(10);
    EXPECT_EQ(1, TypeOf(peer.ReceiveFrame()));
    starter.Join();
    EXPECT_EQ(0, result);
    EXPECT_EQ(1, context.checkRunning);
    EXPECT_EQ(1, context.heartbeatRunning);
}

TEST_F(HeartbeatTest, ACheckThreadThatCannotStartFailsTheStart)
{
    FakeFailThreadStart(1, EAGAIN);
    EXPECT_EQ(-1, HeartbeatStart(&context));
    const std::string log = Log();
    const size_t reason = log.find("Created check thread failed errno=11\n");
    ASSERT_NE(std::string::npos, reason);
    EXPECT_NE(std::string::npos, log.find("-> exit\n", reason));
    EXPECT_EQ("102\n", StatusFile());
    EXPECT_EQ(0, context.checkRunning);
    EXPECT_EQ(0, context.heartbeatRunning);
    ExpectNothingSent();
}

TEST_F(HeartbeatTest, AHeartbeatThreadThatCannotStartFailsTheStartAndTheCheckThreadIsJoinedLater)
{
    FakeFailThreadStart(2, ENOMEM);
    int result = 1;
    Running starter([&] { result = HeartbeatStart(&context); });
    AdvanceThroughWaits(10, 3);
    EXPECT_EQ(17, TypeOf(peer.ReceiveFrame()));
    FakeClockAdvanceMs(10);
    starter.Join();
    EXPECT_EQ(-1, result);
    EXPECT_NE(std::string::npos, Log().find("Created heartbeat thread failed errno=12\n"));
    EXPECT_EQ("102\n", StatusFile());
    EXPECT_EQ(1, context.checkRunning);
    EXPECT_EQ(0, context.heartbeatRunning);
    DeleteHeartbear(&context);
    EXPECT_EQ(0, context.checkRunning);
    ExpectNothingSent();
}

TEST_F(HeartbeatTest, AFailedJoinIsLoggedAndItsMarkIsStillCleared)
{
    const struct {
        int nth;
        const char *reported;
        const char *silent;
    } cases[] = {{1, "Stop check thread error...\n", "Stop heartbeat thread error..."},
                 {2, "Stop heartbeat thread error...\n", "Stop check thread error..."}};
    for (const auto &sample : cases) {
        mQuitPro = 0;
        Start();
        FakeFailThreadJoin(sample.nth, EINVAL);
        DeleteHeartbear(&context);
        const std::string log = Log();
        EXPECT_NE(std::string::npos, log.find(sample.reported));
        EXPECT_EQ(std::string::npos, log.find(sample.silent));
        EXPECT_EQ(0, context.checkRunning);
        EXPECT_EQ(0, context.heartbeatRunning);
    }
}

TEST_F(HeartbeatTest, EndingASessionWithoutThreadsOnlySetsTheFlag)
{
    FakeFailThreadJoin(1, EINVAL); // would be reported
    DeleteHeartbear(&context);
    EXPECT_EQ(1, mQuitPro);
    EXPECT_EQ("", Log());
    FakeFailThreadJoin(0, 0);
}
