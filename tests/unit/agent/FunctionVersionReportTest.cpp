// The report of the firmware's version, sent once by the main cycle.
#include <cjson/cJSON.h>
#include <cstdlib>
#include <cstring>

#include "comm/AutoReport.h"
#include "functions/FwVersionReport.h"
#include "platform/Protool.h"
#include "tests/unit/agent/PlatformSide.h"

class FunctionVersionReportTest : public LinkedTest
{
  protected:
    void SetUp() override
    {
        LinkedTest::SetUp();
        SetVersion("V1.2.3", 20, 23, 11, 5);
    }

    void TearDown() override
    {
        cJSON_InitHooks(nullptr);
        intervalFlag1 = intervalFlag2 = intervalFlag3 = -1;
        LinkedTest::TearDown();
    }

    static void SetVersion(const std::string &text, int a, int b, int c, int d)
    {
        strncpy(gSdk.version.text, text.c_str(), sizeof gSdk.version.text);
        const int date[] = {a, b, c, d};
        for (size_t i = 0; i < 4; i++) gSdk.version.date[i] = static_cast<int8_t>(date[i]);
    }

    // The next frame is an upload without a MAC, under data type 14; returns its text.
    std::string Report()
    {
        const Bytes frame = peer.ReceiveFrame();
        if (frame.size() < 7) return "no report";
        EXPECT_EQ(0x31, frame[2]) << "an upload without a MAC";
        EXPECT_EQ(0, frame[3]) << "head block";
        const Bytes plain = Decrypted(Bytes(frame.begin() + 7, frame.end()));
        if (plain.size() < 5) return "no record";
        EXPECT_EQ(14, plain[2]);
        EXPECT_EQ(plain.size() - 5, plain[3] + 256u * plain[4]);
        return std::string(plain.begin() + 5, plain.end());
    }

    // Makes cJSON's allocations fail after the first `allocations`.
    static void FailAfter(int allocations)
    {
        s_left = allocations;
        cJSON_Hooks hooks = {
            [](size_t size) -> void * { return s_left-- > 0 ? malloc(size) : nullptr; },
            [](void *memory) { free(memory); },
        };
        cJSON_InitHooks(&hooks);
    }

    static inline int s_left;
};

TEST_F(FunctionVersionReportTest, HasItsMembersInOrderAndGoesOutUnderDataTypeFourteen)
{
    intervalFlag1 = 5;
    intervalFlag2 = 1440;
    intervalFlag3 = 0;
    EXPECT_EQ(0, dev_fwversion_report());
    const std::string text = "{\n"
                             "\t\"version\":\t\"V1.2.320231105\",\n"
                             "\t\"sdkVersion\":\t\"2.0.0.7\",\n"
                             "\t\"interval1\":\t5,\n"
                             "\t\"interval2\":\t1440,\n"
                             "\t\"interval3\":\t0,\n"
                             "\t\"configed\":\t\"yes\"\n"
                             "}";
    EXPECT_EQ(text, Report());
    EXPECT_EQ(std::vector<std::string>({"get_router_version"}), gSdk.calls);
    const std::string log = Log();
    EXPECT_NE(std::string::npos, log.find("fwDate:20231105\n"));
    EXPECT_NE(std::string::npos, log.find("fwversion:\n" + text + "\n"));
}

TEST_F(FunctionVersionReportTest, IsConfiguredOnlyIfTheSecondAndThirdIntervalsAreSet)
{
    const struct {
        int second, third;
        const char *expected;
    } cases[] = {{-1, -1, "\"no\""}, {60, -1, "\"no\""}, {-1, 60, "\"no\""}, {60, 60, "\"yes\""}, {-2, 0, "\"yes\""}};
    for (const auto &sample : cases) {
        intervalFlag2 = sample.second;
        intervalFlag3 = sample.third;
        EXPECT_EQ(0, dev_fwversion_report());
        const std::string report = Report();
        EXPECT_NE(std::string::npos, report.find(std::string("\"configed\":\t") + sample.expected)) << report;
        EXPECT_NE(std::string::npos, report.find("\"interval1\":\t-1,"));
    }
}

TEST_F(FunctionVersionReportTest, EachDateByteIsTwoCharacters)
{
    const struct {
        int date[4];
        const char *digits;
    } cases[] = {
        {{20, 23, 11, 5}, "20231105"},
        {{0, 0, 0, 0}, "00000000"},
        {{99, 100, 127, 9}, "99101209"},
        {{-1, -9, -10, -128}, "-1-9-1-1"},
    };
    for (const auto &sample : cases) {
        SetVersion("V", sample.date[0], sample.date[1], sample.date[2], sample.date[3]);
        EXPECT_EQ(0, dev_fwversion_report());
        EXPECT_NE(std::string::npos, Report().find(std::string("\"V") + sample.digits + "\""));
    }
}

TEST_F(FunctionVersionReportTest, AVersionTextThatFillsItsFieldEndsBeforeTheDate)
{
    SetVersion(std::string(60, 'v'), 20, 23, 11, 5);
    EXPECT_EQ(0, dev_fwversion_report());
    EXPECT_NE(std::string::npos, Report().find("\"" + std::string(60, 'v') + "20231105\""));
}

TEST_F(FunctionVersionReportTest, WithoutAVersionNothingIsSent)
{
    for (bool careless : {false, true}) {
        gSdk.result = 3;
        gSdk.careless = careless;
        EXPECT_EQ(-1, dev_fwversion_report());
    }
    ExpectNothingSent();
}

TEST_F(FunctionVersionReportTest, TheSendersResultIsIgnored)
{
    mLogin = 0; // so nothing leaves
    EXPECT_EQ(0, dev_fwversion_report());
    mLogin = 1;
    ExpectNothingSent();
}

TEST_F(FunctionVersionReportTest, WithoutMemoryForTheObjectTheRouterIsNotCalled)
{
    FailAfter(0);
    EXPECT_EQ(-1, dev_fwversion_report());
    EXPECT_TRUE(gSdk.calls.empty());
    ExpectNothingSent();
}

TEST_F(FunctionVersionReportTest, AReportIsNotSentIfAnyAllocationFails)
{
    FailAfter(1000);
    ASSERT_EQ(0, dev_fwversion_report());
    const int needed = 1000 - s_left;
    Report();
    int printing = 0;
    for (int allocations = 0; allocations < needed; allocations++) {
        FailAfter(allocations);
        const int result = dev_fwversion_report();
        EXPECT_TRUE(result == -1 || result == -2) << allocations << ": " << result;
        EXPECT_TRUE(printing == 0 || result == -2); // the object comes first, then its text
        printing += result == -2;
    }
    EXPECT_GT(printing, 0);
    ExpectNothingSent();
}
