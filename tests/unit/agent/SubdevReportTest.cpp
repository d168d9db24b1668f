// The report of the attached devices: the black list, the frame in the log, the limit.
#include "subdev/SubdevReport.h"

#include <cstring>

#include "core/Config.h"
#include "platform/Protool.h"
#include "tests/unit/agent/SubdevTest.h"

namespace
{

class SubdevReportTest : public LinkedTest
{
  protected:
    void SetUp() override
    {
        LinkedTest::SetUp();
        SubdevReportReset();
    }

    void Add(unsigned number)
    {
        const DevCfg device = SubdevDevice(number);
        const uint32_t ip = device.ip;
        SubdevReportAdd(&report, reinterpret_cast<const uint8_t *>(&ip), device.mac, device.name);
    }

    void BlackList(unsigned number)
    {
        std::array<uint8_t, 6> entry;
        memcpy(entry.data(), SubdevMac(number).data(), 6);
        gSdk.blackList.push_back(entry);
    }

    // Byte 43 of each record.
    Bytes Allowed() const
    {
        Bytes allowed;
        for (unsigned i = 0; i < report.count; i++) allowed.push_back(report.frame.records[i].allowed);
        return allowed;
    }

    SubdevReport report = {};
};

} // namespace

TEST_F(SubdevReportTest, WithoutDebugNobodyIsBlackListedAndTheRouterIsNotAsked)
{
    Add(1);
    Add(2);
    BlackList(1);
    GetBlackInfo(&report);
    EXPECT_EQ(Bytes({1, 1}), Allowed());
    EXPECT_TRUE(gSdk.calls.empty());
}

TEST_F(SubdevReportTest, WithDebugTheFirstRecordOfEachBlackListedMacIsMarked)
{
    l_debug = 1;
    for (unsigned number : {1, 2, 3, 2}) Add(number);
    for (unsigned number : {2, 9, 3}) BlackList(number);
    GetBlackInfo(&report);
    EXPECT_EQ(Bytes({1, 0, 0, 1}), Allowed());
    const std::string log = Log();
    EXPECT_NE(std::string::npos, log.find("[Subdev->GetBlackInfo->"));
    for (const char *line :
         {"BlackNum=3", "BlackMac0=02:aa:00:00:00:02", "BlackMac1=02:aa:00:00:00:09", "BlackMac2=02:aa:00:00:00:03"})
        EXPECT_NE(std::string::npos, log.find(std::string("]-> ") + line + "\n\n")) << line;
}

TEST_F(SubdevReportTest, ABlackListThatFailsMarksNobody)
{
    l_debug = 1;
    gSdk.careless = true;
    gSdk.results["get_dev_black_list"] = -1;
    Add(1);
    BlackList(1);
    GetBlackInfo(&report);
    EXPECT_EQ(Bytes{1}, Allowed());
    EXPECT_TRUE(Logged("get_dev_black_list Error."));
}

TEST_F(SubdevReportTest, ABlackListWithATooLargeCountIsCutToItsRoom)
{
    l_debug = 1;
    Add(100);
    Add(101);
    for (unsigned i = 1; i <= 120; i++) BlackList(i);
    gSdk.numbers["get_dev_black_list"] = 65535;
    GetBlackInfo(&report);
    EXPECT_EQ(Bytes({0, 1}), Allowed());
    EXPECT_TRUE(Logged("BlackNum=100"));
}

TEST_F(SubdevReportTest, ReportsOf129DevicesAreRefused)
{
    for (unsigned i = 1; i <= 129; i++) Add(i);
    GetBlackInfo(&report);
    EXPECT_TRUE(Logged("TotalDevice is too large."));
    EXPECT_EQ(Bytes(129), Allowed());
    SendtoServer(&report);
    const std::string log = Log();
    EXPECT_NE(std::string::npos, log.find("[ERR] [Subdev->SendtoServer->"));
    ExpectNothingSent();
    report.count = 128;
    SendtoServer(&report);
    const Bytes frame = peer.ReceiveFrame();
    const Bytes body = Decrypted(Bytes(frame.begin() + kFrameHeaderSize, frame.end()));
    const Bytes header = Hex("00 00 3F 00 00 00 80 00"); // still the first, 63, 128 devices
    EXPECT_EQ(header, Bytes(body.end() - 8 - 128 * 45, body.end() - 128 * 45));
}

TEST_F(SubdevReportTest, WithDebugTheFrameIsLoggedIn333BytesPerLine)
{
    l_debug = 1;
    for (unsigned i = 1; i <= 8; i++) Add(i); // 368 bytes
    GetBlackInfo(&report);
    Log();
    SendtoServer(&report);
    const uint8_t *bytes = report.frame.header;
    std::string shown[2];
    char digits[4];
    for (size_t i = 0; i < 368; i++) {
        snprintf(digits, sizeof digits, "%02X ", bytes[i]);
        shown[i / 333] += digits;
    }
    EXPECT_EQ("00 00 3F 00 00 00 08 00 01 01 A8 C0 02 AA ", shown[0].substr(0, 42));
    const std::string log = Log();
    EXPECT_NE(std::string::npos, log.find("[DEBUG] [Subdev->printHexBuf->"));
    EXPECT_NE(std::string::npos, log.find("]-> " + shown[0] + "\n\n\n\n"));
    EXPECT_NE(std::string::npos, log.find("]-> " + shown[1] + "\n\n\n\n"));
}

TEST_F(SubdevReportTest, WithoutDebugTheFrameIsNotLogged)
{
    Add(1);
    SendtoServer(&report);
    EXPECT_EQ(std::string::npos, Log().find("printHexBuf"));
}

TEST_F(SubdevReportTest, TheSequenceWrapsAfter65535)
{
    mLogin = 0;
    for (int i = 0; i < 65535; i++) SendtoServer(&report);
    EXPECT_EQ(Hex("FE FF"), Bytes(report.frame.header, report.frame.header + 2));
    SendtoServer(&report);
    SendtoServer(&report);
    EXPECT_EQ(Hex("00 00"), Bytes(report.frame.header, report.frame.header + 2));
}
