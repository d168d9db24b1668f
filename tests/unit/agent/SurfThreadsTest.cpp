// The table under commands and passes at the same time; of use with ThreadSanitizer, but not only there.
#include <atomic>
#include <random>

#include "core/Common.h"
#include "rules/SurfRules.h"
#include "rules/iot_poll.h"
#include "tests/unit/agent/SurfTest.h"

static const int kDevices = 12;

static std::string Mac(int device, const char *separator)
{
    char text[18];
    snprintf(text, sizeof text, "02%s00%s00%s00%s00%s%02X", separator, separator, separator, separator, separator,
             device);
    return text;
}

class SurfThreadsTest : public SurfTest
{
  protected:
    void SetUp() override
    {
        SurfTest::SetUp();
        d_set_log_level(LOG_LEVEL_NONE);
        for (int i = 0; i < kDevices; i++) AddDevice(Mac(i, ""), 1);
        SetTime(0, 12, 0); // Monday
    }

    static void Command(int device, bool add, const char *days)
    {
        const std::string json = "{\"LIST\":[{\"FLAG\":\"" + std::string(add ? "1" : "0") + "\",\"MAC\":\"" +
                                 Mac(device, ":") + "\",\"DAY\":\"" + days +
                                 "\",\"START\":\"0:00\",\"STOP\":\"23:59\",\"ALLOW\":\"1\"}]}";
        EXPECT_EQ(0, ParseSurfRulesParam(json.c_str()));
    }
};

TEST_F(SurfThreadsTest, APassDoesNotLeaveADeviceRefusedAfterItsLastRuleWasDeleted)
{
    std::atomic<bool> done{false};
    std::atomic<int> passes{0};
    auto pass = [&] {
        while (!done) {
            surf_rule_func();
            passes++;
        }
    };
    {
        Running first(pass), second(pass);
        std::mt19937 random(7);
        for (int round = 0; round < 2000; round++) {
            const int device = static_cast<int>(random() % kDevices);
            Command(device, true, "1");
            if (random() % 2) surf_rule_func();
            Command(device, false, "1");
            hash_table_init(); // the count would end the test after 512 insertions
        }
        done = true;
    }
    EXPECT_GT(passes, 0);
    size_t writes = Writes();
    EXPECT_GT(writes, 500u); // passes have seen rules, and commands what the passes did
    for (int i = 0; i < kDevices; i++) EXPECT_EQ(1, Access(Mac(i, ""))) << i;
}

TEST_F(SurfThreadsTest, EveryProcedureOfTheTableMayRunDuringAPass)
{
    std::atomic<bool> done{false};
    {
        Running passes([&] {
            while (!done) surf_rule_func();
        });
        Running prints([&] {
            while (!done) hash_table_print();
        });
        for (int round = 0; round < 30; round++) {
            for (int device = 0; device < kDevices; device++) Command(device, true, "1234567");
            for (int device = 0; device < kDevices; device++) Command(device, false, device % 2 ? "1357" : "246");
            if (round % 5 == 4) {
                hash_table_init();
                hash_table_destroy();
            }
        }
        done = true;
    }
    EXPECT_LE(hash_table_size, kHashInsertions);
}
