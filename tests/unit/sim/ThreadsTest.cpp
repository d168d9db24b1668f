#include "tests/unit/sim/SimTest.h"

#include <atomic>
#include <cstring>
#include <thread>

class Threads : public SimTest
{
};

TEST_F(Threads, CallAtOnceWithoutHarm)
{
    WriteFile(StatePath(), "{}");
    Start(StatePath(), "get_cpu_cfg:delay=1,get_mem_cfg=5:every=2", Path("calls"));
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; t++) {
        threads.emplace_back([t, &wrong] {
            for (int i = 0; i < 50; i++) {
                std::vector<DevCfg> devices(ROUTER_SDK_DEVICES);
                uint16_t count = 0;
                CpuCfg cpu;
                MemCfg memory;
                char name[32];
                wrong += get_devs_cfg(devices.data(), &count) != 0 || count != 12;
                wrong += get_cpu_cfg(&cpu) != 0;
                get_mem_cfg(&memory); // every second call of all threads together fails
                wrong += set_name(t % 2 ? "odd" : "even") != 0;
                wrong += get_name(name) != 0 || (strcmp(name, "odd") != 0 && strcmp(name, "even") != 0);
            }
        });
    }
    for (std::thread &thread : threads) thread.join();
    EXPECT_EQ(0, wrong);
    std::string log = ReadFile(Path("calls"));
    EXPECT_EQ(1000u, CountOf(log, "\n"));
    EXPECT_EQ(1000u, CountOf(log, "\n2026-") + 1); // no line inside another
    EXPECT_EQ(100u, CountOf(log, "get_mem_cfg() = 5 (fault)"));
    EXPECT_EQ((std::vector<std::string>{"calls", "state.json"}), Files());
    EXPECT_EQ("", Complaints());
}
