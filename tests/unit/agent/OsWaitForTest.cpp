// OsWaitFor() with the virtual clock, which moves only when a test moves it.
#include "os/OsWait.h"

#include "tests/unit/agent/AgentTest.h"

namespace
{

class OsWaitForTest : public AgentTest
{
  protected:
    // Sets `flag` and wakes who waits for it, or only wakes.
    void Wake(bool set)
    {
        OsGuard guard(&mWaiter);
        mFlag = set;
        OsWakeAll(&mWaiter);
    }

    bool Wait(int64_t milliseconds)
    {
        return OsWaitFor(&mWaiter, milliseconds, [this] {
            mCalls++;
            return mFlag;
        });
    }

    OsWaiter mWaiter;
    bool mFlag = false; // guarded by mWaiter, as is the next
    int mCalls = 0;
};

} // namespace

TEST_F(OsWaitForTest, ReturnsTrueAtOnceWhenTheConditionHoldsAlready)
{
    mFlag = true;
    EXPECT_TRUE(Wait(1000)); // although the clock stands still
    EXPECT_TRUE(Wait(0));
    EXPECT_TRUE(Wait(-1));
    EXPECT_TRUE(Wait(OS_FOREVER));
    EXPECT_EQ(4, mCalls);
}

TEST_F(OsWaitForTest, WithoutTimeToWaitOnlyAsks)
{
    EXPECT_FALSE(Wait(0));
    EXPECT_FALSE(Wait(-1));
    EXPECT_EQ(-1, FakeClockNextDeadlineMs());
}

TEST_F(OsWaitForTest, WaitsToTheMillisecondFromTheMomentOfTheCall)
{
    FakeClockAdvanceMs(300);
    std::atomic<int> reached{-1};
    Running waiting([&] { reached = Wait(1000); });
    FakeClockAwaitSleepers(1);
    EXPECT_EQ(1000, FakeClockNextDeadlineMs());
    FakeClockAdvanceMs(999);
    FakeClockAwaitSleepers(1);
    EXPECT_EQ(-1, reached);
    FakeClockAdvanceMs(1);
    waiting.Join();
    EXPECT_EQ(0, reached);
}

TEST_F(OsWaitForTest, AWakeUpWithoutTheConditionKeepsTheDeadline)
{
    bool reached = true;
    Running waiting([&] { reached = Wait(1000); });
    FakeClockAwaitSleepers(1);
    FakeClockAdvanceMs(600);
    Wake(false);
    FakeClockAwaitSleepers(1);
    EXPECT_EQ(400, FakeClockNextDeadlineMs());
    FakeClockAdvanceMs(400);
    waiting.Join();
    EXPECT_FALSE(reached);
}

TEST_F(OsWaitForTest, EndsAtTheWakeUpThatBringsTheCondition)
{
    for (const int64_t milliseconds : {INT64_C(1000), OS_FOREVER}) {
        mFlag = false;
        bool reached = false;
        Running waiting([&] { reached = Wait(milliseconds); });
        FakeClockAwaitWaiters(1);
        Wake(true);
        waiting.Join(); // although the clock stands still
        EXPECT_TRUE(reached);
    }
}

TEST_F(OsWaitForTest, AConditionThatComesWithTheDeadlineCounts)
{
    FakeClockAuto(true);
    FakeClockBeforeJump([this] { mFlag = true; }); // nobody wakes the waiter
    EXPECT_TRUE(Wait(1000));
}

TEST_F(OsWaitForTest, WithoutALimitNoDeadlineIsSet)
{
    bool reached = false;
    Running waiting([&] { reached = Wait(OS_FOREVER); });
    FakeClockAwaitWaiters(1);
    EXPECT_EQ(-1, FakeClockNextDeadlineMs());
    FakeClockAdvanceMs(INT64_C(1000) * 3600 * 24 * 365);
    FakeClockAwaitWaiters(1);
    Wake(true);
    waiting.Join();
    EXPECT_TRUE(reached);
}

TEST_F(OsWaitForTest, HoldsTheLockWhileItAsks)
{
    const bool held = OsWaitFor(&mWaiter, 0, [this] { return pthread_mutex_trylock(&mWaiter.lock) != 0; });
    EXPECT_TRUE(held);
    EXPECT_EQ(0, pthread_mutex_trylock(&mWaiter.lock)); // and frees it
    pthread_mutex_unlock(&mWaiter.lock);
}
