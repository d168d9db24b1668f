// The texts of the agent's own reports.
#include "plugin/BuildJson.h"

#include <cjson/cJSON.h>
#include <cstdlib>
#include <cstring>

#include "http/Download.h"
#include "platform/Settings.h"
#include "plugin/PlugParameters.h"
#include "subdev/SubdevMutex.h"
#include "tests/data/HostileTexts.h"
#include "tests/unit/agent/AgentTest.h"

namespace
{
class BuildJsonTest : public AgentTest
{
  protected:
    void SetUp() override
    {
        AgentTest::SetUp();
        strcpy(mPluginID, "p1");
        strcpy(mFromVersion, "1.0");
        strcpy(mToVersion, "2.0");
        mProcess = 1;
        gSdk.texts["get_dev_name"] = "laptop";
    }

    // "code text"; the text is "untouched" when nothing was written.
    static std::string Build(int kind, int result, const char *text, const char *data = "")
    {
        char out[4096] = "untouched";
        const int code = BuildJson(kind, result, text, data, out, sizeof out);
        return std::to_string(code) + " " + out;
    }
};
} // namespace

TEST_F(BuildJsonTest, ADeviceThatIsOnlineHasTheRoutersNameForIt)
{
    EXPECT_EQ("0 {\"mac\":\"02AABBCCDDEE\",\"dev_name\":\"laptop\",\"status\":\"online\"}",
              Build(1, 0, "02AABBCCDDEE"));
    EXPECT_EQ(std::vector<std::string>{"get_dev_name(02:AA:BB:CC:DD:EE)"}, gSdk.calls);
}

TEST_F(BuildJsonTest, ADeviceThatIsOfflineHasNoName)
{
    EXPECT_EQ("0 {\"mac\":\"02AABBCCDDEE\",\"status\":\"offline\"}", Build(2, 0, "02AABBCCDDEE"));
    EXPECT_EQ("0 {\"mac\":\"\",\"status\":\"offline\"}", Build(2, 0, ""));
    EXPECT_TRUE(gSdk.calls.empty());
}

TEST_F(BuildJsonTest, AnUpdateIsReportedWithTheAnnouncedTexts)
{
    EXPECT_EQ("0 {\"pluginID\":\"p1\",\"fromVersion\":\"1.0\",\"toVersion\":\"2.0\",\"process\":1,\"result\":0,"
              "\"resultDesc\":\"\"}",
              Build(4, 0, ""));
    mProcess = 0;
    EXPECT_EQ("0 {\"pluginID\":\"p1\",\"fromVersion\":\"1.0\",\"toVersion\":\"2.0\",\"process\":0,\"result\":-1,"
              "\"resultDesc\":\"no\"}",
              Build(4, -1, "no"));
}

TEST_F(BuildJsonTest, ADevicesDataFollowsItsName)
{
    EXPECT_EQ("0 {\"mac\":\"02AABBCCDDEE\",\"dev_name\":\"laptop\",\"data\":\"d\"}", Build(5, 0, "02AABBCCDDEE", "d"));
}

TEST_F(BuildJsonTest, TheRateIsTheLastMeasuredOne)
{
    strcpy(g_pin_code, "1234");
    gDownRate = 123456;
    EXPECT_EQ("0 {\"devpin\":\"1234\",\"rate\":\"123456\"}", Build(6, 0, ""));
    gDownRate = -1;
    EXPECT_EQ("0 {\"devpin\":\"1234\",\"rate\":\"-1\"}", Build(6, 0, ""));
}

TEST_F(BuildJsonTest, EveryOtherKindWritesNothing)
{
    for (const int kind : {-1, 0, 3, 7, 8, 255, 65536, -2147483647}) EXPECT_EQ("0 untouched", Build(kind, 0, ""));
}

TEST_F(BuildJsonTest, AWrongMacMakesNoRouterCall)
{
    for (const int kind : {1, 5})
        for (const char *mac : {"", "02AABBCCDDE", "02AABBCCDDEG", "02:AA:BB:CC:DD:EE"})
            EXPECT_EQ("65535 ", Build(kind, 0, mac)) << mac;
    EXPECT_TRUE(gSdk.calls.empty());
}

TEST_F(BuildJsonTest, TheRoutersErrorIsReturned)
{
    gSdk.results["get_dev_name"] = -7;
    EXPECT_EQ("-7 ", Build(1, 0, "02AABBCCDDEE"));
    EXPECT_EQ("-7 ", Build(5, 0, "02AABBCCDDEE"));
}

TEST_F(BuildJsonTest, TheDeviceTablesLockIsHeldForTheNameOnly)
{
    int inside = -1;
    gSdk.onCall = [&](const std::string &) { inside = pthread_mutex_trylock(&SubdevMutex); };
    Build(1, 0, "02AABBCCDDEE");
    gSdk.onCall = nullptr;
    EXPECT_EQ(EBUSY, inside);
    EXPECT_EQ(0, pthread_mutex_trylock(&SubdevMutex));
    // Held already, it fails.
    EXPECT_EQ(std::to_string(EDEADLK) + " ", Build(1, 0, "02AABBCCDDEE"));
    pthread_mutex_unlock(&SubdevMutex);
    EXPECT_NE(std::string::npos, Log().find("]-> Get SubdevMutex failed\n"));
}

TEST_F(BuildJsonTest, AnyTextIsEscapedSoThatTheReportStaysOneObject)
{
    for (const HostileText &hostile : HostileTexts()) {
        if (hostile.text.size() > 2000 || hostile.text.size() < 12) continue;
        char out[16384];
        ASSERT_EQ(0, BuildJson(4, -1, hostile.text.c_str(), "", out, sizeof out));
        cJSON *report = cJSON_ParseWithOpts(out, nullptr, true);
        ASSERT_NE(nullptr, report) << out;
        EXPECT_EQ(hostile.text, cJSON_GetObjectItem(report, "resultDesc")->valuestring);
        EXPECT_EQ(6, cJSON_GetArraySize(report));
        cJSON_Delete(report);
    }
    gSdk.texts["get_dev_name"] = "\",\"status\":\"\\\n\x01";
    EXPECT_EQ(
        "0 {\"mac\":\"02AABBCCDDEE\",\"dev_name\":\"\\\",\\\"status\\\":\\\"\\\\\\n\\u0001\",\"status\":\"online\"}",
        Build(1, 0, "02AABBCCDDEE"));
}

TEST_F(BuildJsonTest, ANameThatFillsItsFieldEndsThere)
{
    gSdk.texts["get_dev_name"] = std::string(80, 'N');
    EXPECT_EQ("0 {\"mac\":\"02AABBCCDDEE\",\"dev_name\":\"" + std::string(64, 'N') + "\",\"status\":\"online\"}",
              Build(1, 0, "02AABBCCDDEE"));
}

TEST_F(BuildJsonTest, AReportThatDoesNotFitIsNotCut)
{
    const std::string whole = "{\"mac\":\"02AABBCCDDEE\",\"status\":\"offline\"}"; // 41 characters
    ASSERT_EQ(41u, whole.size());
    for (size_t size = 1; size < 60; size++) {
        std::vector<char> out(size, 'x'); // exactly `size` bytes, so that a sanitizer sees a write after them
        const int code = BuildJson(2, 0, "02AABBCCDDEE", "", out.data(), size);
        EXPECT_EQ(size > 41 ? 0 : -1, code) << size;
        EXPECT_EQ(size > 41 ? whole : "", std::string(out.data()));
    }
}

// Each of its allocations fails once: at no point a report leaves a member out, and nothing stays allocated.
TEST_F(BuildJsonTest, AReportWithoutMemoryForAllOfItIsEmpty)
{
    static int s_left, s_alive;
    cJSON_Hooks hooks = {
        [](size_t size) -> void * { return s_left-- > 0 && ++s_alive ? malloc(size) : nullptr; },
        [](void *memory) {
            s_alive -= memory != nullptr;
            free(memory);
        },
    };
    strcpy(g_pin_code, "1234");
    cJSON_InitHooks(&hooks);
    for (const int kind : {1, 2, 4, 5, 6}) {
        s_alive = 0;
        s_left = 1000;
        const std::string whole = Build(kind, 0, "02AABBCCDDEE", "d");
        EXPECT_EQ("0 {", whole.substr(0, 3));
        const int needed = 1000 - s_left;
        EXPECT_GT(needed, 6) << kind;
        for (int allocations = 0; allocations < needed; allocations++) {
            s_left = allocations;
            EXPECT_EQ("-1 ", Build(kind, 0, "02AABBCCDDEE", "d")) << kind << " with " << allocations;
            EXPECT_EQ(0, s_alive) << kind << " with " << allocations;
        }
        s_left = needed;
        EXPECT_EQ(whole, Build(kind, 0, "02AABBCCDDEE", "d"));
    }
    cJSON_InitHooks(nullptr);
}
