#include "tests/unit/sim/SimTest.h"

#include <cstring>

#include <sys/stat.h>
#include <unistd.h>

class CallLogFile : public SimTest
{
  protected:
    void SetUp() override
    {
        SimTest::SetUp();
        Start("", "", Path("calls"));
    }
    std::string Log() const { return ReadFile(Path("calls")); }
};

TEST_F(CallLogFile, HasOneLinePerCallWithTimeNameArgumentsAndResult)
{
    uint8_t on;
    EXPECT_EQ(0, get_led_switch(&on));
    TestClockAdvanceMs(61005);
    EXPECT_EQ(UNKNOWN, set_ssid_switch(99, 1));
    EXPECT_EQ("2026-03-01T12:00:00.250Z get_led_switch() = 0\n"
              "2026-03-01T12:01:01.255Z set_ssid_switch(index=99, on=1) = 1\n",
              Log());
}

TEST_F(CallLogFile, EscapesTexts)
{
    EXPECT_EQ(0, set_dev_name(PHONE.data(), "a\"b\\c\nd\x01\xC3\xA4"));
    EXPECT_EQ(
        "2026-03-01T12:00:00.250Z set_dev_name(mac=02:1a:2b:00:00:14, name=\"a\\\"b\\\\c\\nd\\x01\\xc3\\xa4\") = 0\n",
        Log());
}

TEST_F(CallLogFile, ShowsTheFieldsOfADeviceRecord)
{
    DevCfg device = {};
    memcpy(device.mac, PHONE.data(), 6);
    memcpy(device.name, "sixteen-letters!", 16); // no terminator
    device.reserved[0] = 0xAB;
    device.changed = 1;
    device.link = 2;
    device.access = 0;
    device.reserved2 = 7;
    device.port = 2;
    device.ip = 0x0E01A8C0; // 192.168.1.14
    EXPECT_EQ(0, set_dev_access_control(device));
    EXPECT_EQ("2026-03-01T12:00:00.250Z set_dev_access_control(mac=02:1a:2b:00:00:14, name=\"sixteen-letters!\", "
              "reserved=ab00, changed=1, link=2, access=0, reserved2=7, port=2, ip=192.168.1.14) = 0\n",
              Log());
}

TEST_F(CallLogFile, ShowsTheFieldsOfAnSsidRecord)
{
    SsidCfg ssid = {};
    ASSERT_EQ(0, get_ssid_cfg(1, &ssid));
    WriteFile(Path("calls"), "");
    ASSERT_EQ(0, set_ssid_cfg(&ssid));
    EXPECT_EQ(
        "2026-03-01T12:00:00.250Z set_ssid_cfg(index=1, ssid=\"Household-Guest\", key=\"welcome home\", enabled=1, "
        "hidden=0, reserved=00000000, security=4, bandwidth=20, channel=6, ip=192.168.2.1, netmask=255.255.255.0) "
        "= 0\n",
        Log());
}

TEST_F(CallLogFile, ShowsNumbersWithTheirSign)
{
    EXPECT_EQ(BAD_VALUE, set_dev_us_max_bw(PHONE.data(), -5));
    EXPECT_EQ(BAD_VALUE, sync_time(18446744073709551615u));
    EXPECT_EQ(0, set_dns(0x01020304, 0));
    EXPECT_EQ("2026-03-01T12:00:00.250Z set_dev_us_max_bw(mac=02:1a:2b:00:00:14, limit=-5) = 2\n"
              "2026-03-01T12:00:00.250Z sync_time(seconds=18446744073709551615) = 2\n"
              "2026-03-01T12:00:00.250Z set_dns(primary=4.3.2.1, secondary=0.0.0.0) = 0\n",
              Log());
}

TEST_F(CallLogFile, CutsOffWhatIsTooLongAndStaysOneLine)
{
    EXPECT_EQ(TOO_LONG, set_redirection(std::string(5000, 'x').c_str()));
    std::string log = Log();
    EXPECT_EQ(1u, CountOf(log, "\n"));
    EXPECT_LT(log.size(), 1500u);
    EXPECT_NE(std::string::npos, log.find("xxx...) = 3\n"));
}

TEST_F(CallLogFile, MarksFaults)
{
    Start("", "get_name=-7", Path("calls"));
    char name[32];
    EXPECT_EQ(-7, get_name(name));
    EXPECT_EQ("2026-03-01T12:00:00.250Z get_name() = -7 (fault)\n", Log());
}

TEST_F(CallLogFile, IsAppendedTo)
{
    WriteFile(Path("calls"), "before\n");
    uint16_t count;
    EXPECT_EQ(0, get_lan_num(&count));
    EXPECT_EQ("before\n2026-03-01T12:00:00.250Z get_lan_num() = 0\n", Log());
}

TEST_F(CallLogFile, IsForItsOwnerAlone)
{
    uint16_t count;
    EXPECT_EQ(0, get_lan_num(&count));
    struct stat about = {};
    ASSERT_EQ(0, stat(Path("calls").c_str(), &about));
    EXPECT_EQ(0600u, about.st_mode & 0777u);
}

TEST_F(CallLogFile, ThatCannotBeWrittenIsReportedOnceAndCallsStillWork)
{
    Start("", "", Path("no/such/folder"));
    uint16_t count = 0;
    EXPECT_EQ(0, get_lan_num(&count));
    EXPECT_EQ(0, get_lan_num(&count));
    EXPECT_EQ(4, count);
    EXPECT_EQ(1u, CountOf(Complaints(), "ROUTER_SIM_LOG"));
}

TEST_F(CallLogFile, IsNotWrittenThroughASymbolicLink)
{
    WriteFile(Path("precious"), "");
    ASSERT_EQ(0, symlink(Path("precious").c_str(), Path("link").c_str()));
    Start("", "", Path("link"));
    uint16_t count;
    EXPECT_EQ(0, get_lan_num(&count));
    EXPECT_EQ("", ReadFile(Path("precious")));
    EXPECT_EQ(1u, CountOf(Complaints(), "ROUTER_SIM_LOG"));
}
