#include "sdk/sim/HostUse.h"

#include "tests/unit/sim/SimTest.h"

TEST(HostUse, CountsEverythingButIdleAndWaitingAsBusy)
{
    CpuTimes times = {};
    ASSERT_EQ(0, ParseCpuTimes("cpu  100 20 30 400 50 6 7 8 0 0\ncpu0 1 2 3 4\n", &times));
    EXPECT_EQ(171u, times.busy); // 100 + 20 + 30 + 6 + 7 + 8
    EXPECT_EQ(621u, times.all);
}

TEST(HostUse, ReadsTheFourTimesOfOldKernels)
{
    CpuTimes times = {};
    ASSERT_EQ(0, ParseCpuTimes("cpu 1 2 3 94\n", &times));
    EXPECT_EQ(6u, times.busy);
    EXPECT_EQ(100u, times.all);
}

TEST(HostUse, RefusesWhatIsNoProcessorLine)
{
    CpuTimes times = {7, 8};
    EXPECT_EQ(-1, ParseCpuTimes("", &times));
    EXPECT_EQ(-1, ParseCpuTimes("cpu 1 2 3", &times));
    EXPECT_EQ(-1, ParseCpuTimes("intr 1 2 3 4", &times));
    EXPECT_EQ(7u, times.busy);
}

TEST(HostUse, TakesTheKernelsEstimateOfAvailableMemory)
{
    EXPECT_EQ(75, ParseMemoryUse("MemTotal: 1000 kB\nMemFree: 10 kB\nMemAvailable: 250 kB\n"));
}

TEST(HostUse, AddsFreeAndCacheWhereTheKernelDoesNotEstimate)
{
    EXPECT_EQ(40, ParseMemoryUse("MemTotal: 1000 kB\nMemFree: 100 kB\nBuffers: 200 kB\nCached: 300 kB\n"));
}

TEST(HostUse, RefusesMemoryWithoutATotal)
{
    EXPECT_EQ(-1, ParseMemoryUse("MemAvailable: 250 kB\n"));
    EXPECT_EQ(-1, ParseMemoryUse("MemTotal: 0 kB\nMemAvailable: 0 kB\n"));
    EXPECT_EQ(-1, ParseMemoryUse("MemTotal: 1000 kB\n"));
}

class HostUseCalls : public SimTest
{
};

TEST_F(HostUseCalls, AnswerPercentages)
{
    uint16_t cpu = 999, memory = 999;
    ASSERT_EQ(0, get_cpu_use(&cpu));
    ASSERT_EQ(0, get_mem_use(&memory));
    EXPECT_LE(cpu, 100);
    EXPECT_LE(memory, 100);
    EXPECT_GT(memory, 0); // this test itself takes some
}
