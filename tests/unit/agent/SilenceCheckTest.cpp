// When a silent platform is noticed: at the first of the checks, ten seconds apart, at which its silence is longer than
// three heartbeat intervals. Both threads of a session run; only the tests move the clock.
#include <functional>
#include <random>

#include "CBHandle.h"
#include "os/OsClock.h"
#include "platform/Protool.h"
#include "platform/Session.h"
#include "tests/unit/agent/PlatformSide.h"

namespace
{

struct Event {
    int64_t atMs;
    std::function<void()> happens;
};

Event Acknowledgement(int64_t atMs)
{
    return {atMs, [] { CBHandle(Received(2, {}, {})); }};
}

Event Data(int64_t atMs)
{
    return {atMs, [] { CBHandle(Received(26, {}, {})); }};
}

Event Interval(int64_t atMs, int16_t seconds)
{
    return {atMs, [seconds] { SetHeartInterval(seconds); }};
}

enum Kind { ACKNOWLEDGEMENT, DATA, INTERVAL };

struct Occurrence {
    Kind kind;
    int64_t atMs;
    int16_t seconds;
};

Event EventOf(const Occurrence &occurrence)
{
    switch (occurrence.kind) {
    case ACKNOWLEDGEMENT: return Acknowledgement(occurrence.atMs);
    case DATA: return Data(occurrence.atMs);
    case INTERVAL: break;
    }
    return Interval(occurrence.atMs, occurrence.seconds);
}

// Never at the very moment of a heartbeat or a look, which both come at whole hundredths of a second.
std::vector<Occurrence> RandomOccurrences(std::minstd_rand *random, int16_t interval, int64_t endMs)
{
    static const Kind kKinds[] = {ACKNOWLEDGEMENT, ACKNOWLEDGEMENT, ACKNOWLEDGEMENT, ACKNOWLEDGEMENT, DATA, DATA, DATA,
                                  INTERVAL};
    std::vector<Occurrence> all;
    for (int64_t at = 103;; at += 10 * (1 + static_cast<int64_t>((*random)()) % (interval * 250))) {
        if (at >= endMs) return all;
        const Kind kind = kKinds[(*random)() % 8];
        all.push_back({kind, at, static_cast<int16_t>(20 + (*random)() % 50)});
    }
}

// When a check that looks at every tenth second ends the session; -1 when it does not before `endMs`.
int64_t FoundByEveryLook(int64_t interval, const std::vector<Occurrence> &occurrences, int64_t endMs)
{
    auto next = occurrences.begin();
    int64_t beatMs = 20, heardMs = -1;
    bool acknowledged = false;
    for (int64_t now = 0; now <= endMs; now++) {
        for (; next != occurrences.end() && next->atMs == now; ++next) {
            if (next->kind == INTERVAL) {
                interval = next->seconds;
                continue;
            }
            acknowledged = true;
            if (next->kind == ACKNOWLEDGEMENT) heardMs = now;
        }
        if (now == beatMs) {
            acknowledged = false;
            beatMs += interval * 1000;
        }
        if (now % 10000 == 0 && !acknowledged && heardMs >= 0 && now - heardMs > 3 * interval * 1000) return now;
    }
    return -1;
}

// The threads of the session that wait: response, check and heartbeat.
const int kWaiters = 3;

class SilenceCheck : public LinkedTest
{
  protected:
    // Starts the two threads at 0 ms and lets the events happen. Returns when the session ended, -1 if `endMs` came
    // before.
    int64_t EndOf(int16_t interval, const std::vector<Event> &events, int64_t endMs = 2000000)
    {
        FakeOsReset();
        mQuitPro = 0;
        mHeartTime = 0;
        mHeartInterval = interval;
        Begin();
        for (const Event &event : events) {
            PassTo(event.atMs);
            event.happens();
            Settle();
        }
        PassTo(endMs);
        const int64_t ended = mQuitPro == 1 ? OsNowMs() : -1;
        DeleteHeartbear(&context);
        return ended;
    }

    void TearDown() override
    {
        DeleteHeartbear(&context);
        LinkedTest::TearDown();
    }

    void Begin()
    {
        Running starter([&] { EXPECT_EQ(0, HeartbeatStart(&context)); });
        AdvanceThroughWaits(10, 3); // response and check thread, and the pause of the start
        FakeClockAdvanceMs(10);
        starter.Join();
        Settle();
    }

    // From one end of a wait to the next: a thread that wakes reads the clock twice, and it must not have moved between.
    static void PassTo(int64_t timeMs)
    {
        while (OsNowMs() < timeMs && mQuitPro == 0 && !HasFatalFailure()) {
            FakeClockAdvanceMs(std::min(FakeClockNextDeadlineMs(), timeMs - OsNowMs()));
            Settle();
        }
    }

    static void Settle()
    {
        ASSERT_TRUE(Within([] { return FakeClockWaiters() == kWaiters || mQuitPro == 1; }));
    }
};

} // namespace

TEST_F(SilenceCheck, ComesEveryTenSecondsWhateverTheInterval)
{
    const struct {
        int16_t interval;
        int64_t acknowledgedMs, endedMs;
    } kCases[] = {
        {20, 20, 70000},     {20, 9999, 70000},   {20, 10000, 80000},  {20, 10001, 80000},     {20, 19999, 80000},
        {20, 35000, 100000}, {21, 20, 70000},     {21, 6999, 70000},   {21, 7000, 80000},      {21, 7001, 80000},
        {25, 20, 80000},     {25, 4999, 80000},   {25, 5000, 90000},   {50, 20, 160000},       {50, 49000, 200000},
        {60, 100, 190000},   {60, 10100, 200000}, {100, 5000, 310000}, {300, 123456, 1030000},
    };
    for (const auto &sample : kCases)
        EXPECT_EQ(sample.endedMs, EndOf(sample.interval, {Acknowledgement(sample.acknowledgedMs)}))
            << sample.interval << " " << sample.acknowledgedMs;
}

TEST_F(SilenceCheck, CountsFromTheLastAcknowledgement)
{
    EXPECT_EQ(110000, EndOf(20, {Acknowledgement(100), Acknowledgement(20100), Acknowledgement(40100)}));
    EXPECT_EQ(140000, EndOf(20, {Acknowledgement(100), Acknowledgement(69000), Acknowledgement(71000)}));
    EXPECT_EQ(310000, EndOf(60, {Acknowledgement(100), Acknowledgement(60100), Acknowledgement(120100)}));
    EXPECT_EQ(370000, EndOf(60, {Acknowledgement(100), Acknowledgement(185000)}));
}

TEST_F(SilenceCheck, BeforeTheFirstAcknowledgementNothingCounts)
{
    EXPECT_EQ(-1, EndOf(20, {}));
    EXPECT_EQ(500000, EndOf(20, {Acknowledgement(437000)})); // of a platform that was silent for longer
    EXPECT_EQ(670000, EndOf(20, {Acknowledgement(600000)}));
}

TEST_F(SilenceCheck, FindsAHeartbeatThatDataAcknowledgedOnlyOnceItIsSentAgain)
{
    // Data is a sign of life until the next heartbeat, and moves no deadline.
    EXPECT_EQ(190000, EndOf(60, {Acknowledgement(100), Data(175000)}));
    EXPECT_EQ(250000, EndOf(60, {Acknowledgement(100), Data(185000)}));
    EXPECT_EQ(190000, EndOf(60, {Acknowledgement(100), Data(175000), Data(245000), Acknowledgement(290000)}));
    EXPECT_EQ(130000, EndOf(20, {Acknowledgement(100), Data(65000), Data(81000), Data(101000)}));
}

TEST_F(SilenceCheck, FollowsANewInterval)
{
    EXPECT_EQ(70000, EndOf(60, {Acknowledgement(100), Interval(50000, 20)}));
    EXPECT_EQ(80000, EndOf(60, {Acknowledgement(100), Interval(70000, 20)})); // at a check
    EXPECT_EQ(80000, EndOf(60, {Acknowledgement(100), Interval(75000, 20)})); // has been silent for too long
    EXPECT_EQ(80000, EndOf(60, {Acknowledgement(100), Interval(75000, 0)}));
    EXPECT_EQ(190000, EndOf(20, {Acknowledgement(100), Interval(55000, 60)}));
    EXPECT_EQ(190000, EndOf(60, {Acknowledgement(100), Interval(55000, 20), Interval(65000, 60)}));
    EXPECT_EQ(190000, EndOf(60, {Interval(55000, 20), Acknowledgement(120000)}));
}

TEST_F(SilenceCheck, FindsWhatALookAtEveryTenthSecondFinds)
{
    const int64_t kEndMs = 900000;
    for (unsigned seed = 1; seed <= 25; seed++) {
        std::minstd_rand random(seed);
        const int16_t interval = static_cast<int16_t>(20 + random() % 50);
        const std::vector<Occurrence> occurrences = RandomOccurrences(&random, interval, kEndMs);
        std::vector<Event> events;
        for (const Occurrence &occurrence : occurrences) events.push_back(EventOf(occurrence));
        EXPECT_EQ(FoundByEveryLook(interval, occurrences, kEndMs), EndOf(interval, events, kEndMs)) << seed;
    }
}

TEST_F(SilenceCheck, SleepsWhileHeartbeatsAreAcknowledged)
{
    mHeartInterval = 60;
    Begin();
    const int begin = FakeClockWaits();
    for (int beat = 0; beat < 60; beat++) {
        CBHandle(Received(2, {}, {}));
        PassTo(OsNowMs() + 60000);
    }
    EXPECT_EQ(0, mQuitPro);
    EXPECT_EQ(60, FakeClockWaits() - begin); // the heartbeats of an hour, and nothing else
}

TEST_F(SilenceCheck, EndsWithTheSessionWhileItSleeps)
{
    mHeartInterval = 32767;
    Begin();
    CBHandle(Received(2, {}, {}));
    SetSessionFlag(mQuitPro, 1);
    DeleteHeartbear(&context); // returns although the clock stands still
    EXPECT_EQ(20, OsNowMs());
    EXPECT_EQ(0, context.checkRunning);
}
