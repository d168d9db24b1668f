// The real os/posix. Time is real here, so deadlines are milliseconds.
#include "os/OsWait.h"

#include <atomic>
#include <csignal>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <thread>
#include <unistd.h>

#include "os/OsClock.h"

namespace
{

const int64_t kFar = 20000; // ms; a wait that lasts as long has failed

// Two connected sockets.
class OsWaitReadableTest : public testing::Test
{
  protected:
    void SetUp() override { ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, mEnds)); }
    void TearDown() override
    {
        close(mEnds[0]);
        close(mEnds[1]);
    }
    int mEnds[2];
};

} // namespace

// ---- Waiters ----

TEST(OsWaitUntil, EndsAtItsDeadlineAndNotBefore)
{
    OsWaiter waiter;
    OsGuard guard(&waiter);
    const int64_t deadline = OsNowMs() + 5;
    while (OsWaitUntil(&waiter, deadline)) { // spurious wake-ups are allowed
    }
    EXPECT_GE(OsNowMs(), deadline);
}

TEST(OsWaitUntil, EndsAtOnceWhenTheDeadlineHasPassed)
{
    OsWaiter waiter;
    OsGuard guard(&waiter);
    EXPECT_FALSE(OsWaitUntil(&waiter, OsNowMs() - 1));
    EXPECT_FALSE(OsWaitUntil(&waiter, 0));
}

TEST(OsWaitUntil, IsEndedByAWakeUpLongBeforeItsDeadline)
{
    for (int64_t deadline : {OsNowMs() + kFar, OS_FOREVER}) {
        OsWaiter waiter;
        bool changed = false; // guarded by the waiter
        bool inTime = true;
        const int64_t begin = OsNowMs();
        std::thread waiting([&] {
            OsGuard guard(&waiter);
            while (!changed && inTime) inTime = OsWaitUntil(&waiter, deadline);
        });
        {
            OsGuard guard(&waiter);
            changed = true;
            OsWakeAll(&waiter);
        }
        waiting.join();
        EXPECT_TRUE(inTime);
        EXPECT_LT(OsNowMs() - begin, kFar);
    }
}

TEST(OsWaitUntil, AWakeUpReachesEveryThread)
{
    OsWaiter waiter;
    int waitingThreads = 0;
    bool changed = false;
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; i++) {
        threads.emplace_back([&] {
            OsGuard guard(&waiter);
            waitingThreads++;
            while (!changed) OsWaitUntil(&waiter, OS_FOREVER);
        });
    }
    for (bool allWait = false; !allWait;) {
        OsGuard guard(&waiter);
        allWait = waitingThreads == 3;
        if (!allWait) continue;
        changed = true;
        OsWakeAll(&waiter);
    }
    for (std::thread &thread : threads) thread.join();
}

TEST(OsWaitFor, IsFalseAtItsDeadlineAndNotBefore)
{
    OsWaiter waiter;
    const int64_t begin = OsNowMs();
    EXPECT_FALSE(OsWaitFor(&waiter, 5, [] { return false; }));
    EXPECT_GE(OsNowMs() - begin, 5);
}

TEST(OsWaitFor, IsEndedByAWakeUpLongBeforeItsDeadline)
{
    for (int64_t milliseconds : {kFar, OS_FOREVER}) {
        OsWaiter waiter;
        bool changed = false; // guarded by the waiter
        bool reached = false;
        const int64_t begin = OsNowMs();
        std::thread waiting([&] { reached = OsWaitFor(&waiter, milliseconds, [&] { return changed; }); });
        {
            OsGuard guard(&waiter);
            changed = true;
            OsWakeAll(&waiter);
        }
        waiting.join();
        EXPECT_TRUE(reached);
        EXPECT_LT(OsNowMs() - begin, kFar);
    }
}

// ---- Readable descriptors ----

TEST_F(OsWaitReadableTest, TimesOutWhenNothingComes)
{
    const int64_t begin = OsNowMs();
    EXPECT_EQ(OS_TIMED_OUT, OsWaitReadable(mEnds[0], 0));
    EXPECT_EQ(OS_TIMED_OUT, OsWaitReadable(mEnds[0], 3));
    EXPECT_GE(OsNowMs() - begin, 2);
}

TEST_F(OsWaitReadableTest, SeesBytesAndTheEndOfTheOtherSide)
{
    ASSERT_EQ(1, write(mEnds[1], "x", 1));
    EXPECT_EQ(OS_READABLE, OsWaitReadable(mEnds[0], -1));
    char byte;
    ASSERT_EQ(1, read(mEnds[0], &byte, 1));
    EXPECT_EQ(OS_TIMED_OUT, OsWaitReadable(mEnds[0], 0));
    shutdown(mEnds[1], SHUT_WR);
    EXPECT_EQ(OS_READABLE, OsWaitReadable(mEnds[0], -1));
}

TEST_F(OsWaitReadableTest, TakesABrokenPeerForReadable)
{
    int ends[2];
    ASSERT_EQ(0, pipe(ends));
    close(ends[0]);
    EXPECT_EQ(OS_READABLE, OsWaitReadable(ends[1], -1)); // an error is pending
    close(ends[1]);
}

TEST_F(OsWaitReadableTest, FailsOnAClosedDescriptor)
{
    const int closed = dup(mEnds[0]);
    close(closed);
    EXPECT_EQ(OS_WAIT_FAILED, OsWaitReadable(closed, -1));
}

TEST_F(OsWaitReadableTest, IsEndedByAShutdownFromAnotherThread)
{
    std::atomic<bool> begun{false};
    std::atomic<int> result{OS_TIMED_OUT};
    std::thread waiting([&] {
        begun = true;
        result = OsWaitReadable(mEnds[0], -1);
    });
    while (!begun) std::this_thread::yield();
    shutdown(mEnds[0], SHUT_RD);
    waiting.join();
    EXPECT_EQ(OS_READABLE, result);
    char byte;
    EXPECT_EQ(0, read(mEnds[0], &byte, 1));
}

TEST_F(OsWaitReadableTest, FailsWhenASignalInterruptsIt)
{
    struct sigaction nothing = {};
    struct sigaction old;
    nothing.sa_handler = [](int) {};
    sigaction(SIGALRM, &nothing, &old);
    const struct itimerval soon = {{0, 2000}, {0, 2000}}; // again and again: the first may come before the wait
    const struct itimerval never = {};
    setitimer(ITIMER_REAL, &soon, nullptr);
    const OsReadable result = OsWaitReadable(mEnds[0], 20000);
    setitimer(ITIMER_REAL, &never, nullptr);
    sigaction(SIGALRM, &old, nullptr);
    EXPECT_EQ(OS_WAIT_FAILED, result);
}

// ---- Clock and pauses ----

TEST(OsSleepMs, PausesForItsTimeEvenWhenSignalsInterruptIt)
{
    struct sigaction nothing = {};
    struct sigaction old;
    nothing.sa_handler = [](int) {};
    sigaction(SIGALRM, &nothing, &old);
    const struct itimerval soon = {{0, 1000}, {0, 1000}};
    const struct itimerval never = {};
    const int64_t begin = OsNowMs();
    setitimer(ITIMER_REAL, &soon, nullptr);
    OsSleepMs(10);
    setitimer(ITIMER_REAL, &never, nullptr);
    sigaction(SIGALRM, &old, nullptr);
    EXPECT_GE(OsNowMs() - begin, 9);
}
