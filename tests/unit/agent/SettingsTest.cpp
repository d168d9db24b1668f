#include "platform/Settings.h"

#include <cstring>

#include "core/Common.h"
#include "core/Config.h"
#include "os/Paths.h"
#include "platform/Protool.h"
#include "platform/TcpServer.h"
#include "tests/fakes/FakeLibraries.h"
#include "tests/unit/agent/AgentTest.h"

namespace
{

class Settings : public AgentTest
{
  protected:
    void SetUp() override
    {
        AgentTest::SetUp();
        FakeLibrariesReset();
        FakeHost("one", "one.example", {"10.0.0.1"});
        FakeHost("two", "two.example", {"10.0.0.2"});
        Fn40Interval = AutoReportDevinfo = -1;
    }
    void TearDown() override
    {
        FakeLibrariesReset();
        AgentTest::TearDown();
    }
    static int Init(const std::string &content)
    {
        WriteFile(kPathDefaultConfig, content);
        NewProgramProfile(kPathDefaultConfig);
        return InitProtool();
    }
};

std::string Servers(const std::string &more)
{
    return "[Protool]\nSERVER1=one\nSERVER2=two\n" + more;
}

} // namespace

// ---- InitProtool ----

TEST_F(Settings, AreReadFromTheirSections)
{
    EXPECT_EQ(0, Init("[Dev]\nPIN=1234\n" + Servers("KEY=0123456789abcdef\nPORT=7000\n")));
    EXPECT_STREQ("1234", g_pin_code);
    EXPECT_STREQ("0123456789abcdef", gProtoolKey);
    EXPECT_EQ(7000, regist_port);
    EXPECT_STREQ("10.0.0.1", RegisterIpAddr1);
    EXPECT_STREQ("10.0.0.2", RegisterIpAddr2);
    EXPECT_EQ(1, runMode);
}

TEST_F(Settings, AreLoggedInTheClearAtDebugLevel)
{
    Init("[Dev]\nPIN=1234\n" + Servers("KEY=secret\nPORT=7000\n"));
    const std::string log = Log();
    for (const char *line : {"PIN:\t1234", "KEY:\tsecret", "SERVER1:\tone", "SERVER2:\ttwo", "PORT:\t7000"}) {
        const size_t at = log.find("]-> " + std::string(line) + "\n\n");
        ASSERT_NE(std::string::npos, at) << line;
        EXPECT_NE(std::string::npos, log.rfind("[DEBUG] [Protool->InitProtool->", at)) << line;
    }
}

TEST_F(Settings, AreNotLoggedBelowDebugLevel)
{
    d_set_log_level(LOG_LEVEL_ERR);
    Init("[Dev]\nPIN=1234\n" + Servers("KEY=secret\n"));
    EXPECT_EQ("", Log());
}

TEST_F(Settings, HaveTheirDefaultsWithoutAFile)
{
    FakeHost(PLUG_DEFAULT_SERVER1, "a", {"10.0.0.3"});
    FakeHost(PLUG_DEFAULT_SERVER2, "b", {"10.0.0.4"});
    NewProgramProfile(kPathDefaultConfig);
    EXPECT_EQ(0, InitProtool());
    EXPECT_STREQ("", g_pin_code);
    EXPECT_STREQ("", gProtoolKey);
    EXPECT_EQ(6039, regist_port);
    EXPECT_STREQ("10.0.0.3", RegisterIpAddr1);
    EXPECT_STREQ("10.0.0.4", RegisterIpAddr2);
    const std::string log = Log();
    EXPECT_NE(std::string::npos, log.find("]-> SERVER1:\t" PLUG_DEFAULT_SERVER1 "\n\n"));
    EXPECT_NE(std::string::npos, log.find("]-> SERVER2:\t" PLUG_DEFAULT_SERVER2 "\n\n"));
}

TEST_F(Settings, APinBeforeAnySectionIsIgnored)
{
    EXPECT_EQ(0, Init("PIN=1234\n[Dev]\n" + Servers("")));
    EXPECT_STREQ("", g_pin_code);
}

TEST_F(Settings, EmptyPinAndKeyAreNotRefusedHere)
{
    EXPECT_EQ(0, Init(Servers("")));
}

TEST_F(Settings, PinKeepsItsFirst63CharactersAndKeyIts31)
{
    Init("[Dev]\nPIN=" + std::string(64, 'p') + "\n" + Servers("KEY=" + std::string(32, 'k') + "\n"));
    EXPECT_EQ(std::string(63, 'p'), g_pin_code);
    EXPECT_EQ(std::string(31, 'k'), gProtoolKey);
    Init("[Dev]\nPIN=" + std::string(63, 'q') + "\n" + Servers("KEY=" + std::string(31, 'l') + "\n"));
    EXPECT_EQ(std::string(63, 'q'), g_pin_code);
    EXPECT_EQ(std::string(31, 'l'), gProtoolKey);
}

TEST_F(Settings, ServerNamesKeepTheirFirst31Characters)
{
    const std::string name(31, 's');
    FakeHost(name, "long", {"10.0.0.5"});
    EXPECT_EQ(0, Init("[Protool]\nSERVER1=" + name + "\nSERVER2=" + name + "X\n"));
    EXPECT_STREQ("10.0.0.5", RegisterIpAddr1);
    EXPECT_STREQ("10.0.0.5", RegisterIpAddr2);
}

TEST_F(Settings, AServerNameThatIsCutIsLoggedAtErrorLevel)
{
    const std::string name(31, 's');
    FakeHost(name, "long", {"10.0.0.5"});
    Init("[Protool]\nSERVER1=" + name + "\nSERVER2=" + name + "\n");
    EXPECT_EQ(std::string::npos, Log().find("is cut"));
    for (const char *key : {"SERVER1", "SERVER2"}) {
        EXPECT_EQ(0, Init(Servers(std::string(key) + "=" + name + "X\n")));
        const std::string log = Log();
        const size_t at = log.find("]-> " + std::string(key) + " is cut to its first 31 characters: " + name + "\n\n");
        ASSERT_NE(std::string::npos, at) << key;
        EXPECT_EQ(log.rfind("[ERR] ", at), log.rfind("[ERR] [Protool->InitProtool->", at)) << key;
        EXPECT_EQ(log.find("is cut"), log.rfind("is cut")) << "and no other is";
    }
}

TEST_F(Settings, OfTwoPortLinesTheSecondWins)
{
    EXPECT_EQ(0, Init(Servers("PORT=5000\nPORT=6000\n")));
    EXPECT_EQ(6000, regist_port);
}

TEST_F(Settings, PortsFrom2048To65530AreAccepted)
{
    for (int port : {2048, 65530}) {
        EXPECT_EQ(0, Init(Servers("PORT=" + std::to_string(port) + "\n"))) << port;
        EXPECT_EQ(port, regist_port);
    }
    EXPECT_EQ(std::string::npos, Log().find("RegPort error."));
}

TEST_F(Settings, OtherPortsAreRefusedBeforeAnyLookUp)
{
    for (const char *port : {"2047", "65531", "0", "-6039", "65536", "9999999", "abc"}) {
        EXPECT_EQ(-1, Init(Servers("PORT=" + std::string(port) + "\n"))) << port;
        const std::string log = Log();
        EXPECT_NE(std::string::npos, log.find("]-> RegPort error.\n\n")) << port;
        EXPECT_EQ(std::string::npos, log.find("PORT:\t")) << port;
    }
    EXPECT_EQ(0, FakeLookUps());
}

TEST_F(Settings, ThePortTextIsDecimalAndCutToSevenCharacters)
{
    EXPECT_EQ(0, Init(Servers("PORT=00061239\n")));
    EXPECT_EQ(6123, regist_port);
    EXPECT_EQ(0, Init(Servers("PORT=6100 and more\n")));
    EXPECT_EQ(6100, regist_port);
    EXPECT_EQ(-1, Init(Servers("PORT=0x1800\n")));
}

TEST_F(Settings, TheSessionValuesAreClearedAndTheReportsSetToTheirDefaults)
{
    strcpy(mLoginServer, "10.1.1.1");
    memset(mLoginTocken, 1, sizeof mLoginTocken);
    memset(mLoginPluginId, 1, sizeof mLoginPluginId);
    mLoginPort = 9;
    mEndType = 1;
    EXPECT_EQ(0, Init(Servers("")));
    EXPECT_STREQ("", mLoginServer);
    EXPECT_EQ(Bytes(sizeof mLoginTocken, 0), Bytes(mLoginTocken, mLoginTocken + sizeof mLoginTocken));
    EXPECT_EQ(Bytes(sizeof mLoginPluginId, 0), Bytes(mLoginPluginId, mLoginPluginId + sizeof mLoginPluginId));
    EXPECT_EQ(0, mLoginPort);
    EXPECT_EQ(30, Fn40Interval);
    EXPECT_EQ(1, AutoReportDevinfo);
    EXPECT_EQ(0u, mEndType);
}

TEST_F(Settings, TheReportsHaveTheirDefaultsEvenWhenThePortIsRefused)
{
    EXPECT_EQ(-1, Init(Servers("PORT=1\n")));
    EXPECT_EQ(30, Fn40Interval);
    EXPECT_EQ(1, AutoReportDevinfo);
}

TEST_F(Settings, AFirstServerThatDoesNotResolveIsAFailure)
{
    EXPECT_EQ(-1, Init("[Protool]\nSERVER1=nowhere\nSERVER2=two\n"));
    const std::string log = Log();
    EXPECT_NE(std::string::npos, log.find("[ERR] [TcpServer->GetServerIp->"));
    EXPECT_NE(std::string::npos, log.find("]-> gethostbyname error for host:nowhere\n\n"));
    EXPECT_NE(std::string::npos, log.find("]-> DNS resolve addres1 error !!!\n\n"));
    EXPECT_STREQ("", RegisterIpAddr2);
    EXPECT_EQ(1, FakeLookUps());
}

TEST_F(Settings, ASecondServerThatDoesNotResolveIsAFailureThatKeepsTheFirst)
{
    EXPECT_EQ(-1, Init("[Protool]\nSERVER1=192.168.7.1\nSERVER2=nowhere\n"));
    EXPECT_TRUE(Logged("DNS resolve addres2 error !!!"));
    EXPECT_STREQ("192.168.7.1", RegisterIpAddr1);
    EXPECT_STREQ("", RegisterIpAddr2);
    EXPECT_EQ(0, runMode);
}

TEST_F(Settings, AnAddressWithTheSingleServerPrefixAnywhereMakesRunModeZero)
{
    for (const char *address : {PLUG_SINGLE_SERVER_PREFIX ".1.1", "10." PLUG_SINGLE_SERVER_PREFIX ".1"}) {
        FakeHost("one", "one", {address});
        runMode = 1;
        EXPECT_EQ(0, Init(Servers("")));
        EXPECT_EQ(0, runMode) << address;
    }
    FakeHost("one", "one", {"10.0.0.1"});
    EXPECT_EQ(0, Init(Servers("")));
    EXPECT_EQ(1, runMode);
}

TEST_F(Settings, TheSecondServersAddressDoesNotChangeRunMode)
{
    FakeHost("two", "two", {PLUG_SINGLE_SERVER_PREFIX ".1.1"});
    EXPECT_EQ(0, Init(Servers("")));
    EXPECT_EQ(1, runMode);
}

// ---- GetServerIp ----

TEST_F(Settings, LookUpReturnsTheFirstAddressAndLogsTheCanonicalName)
{
    FakeHost("www", "www.example.net", {"10.9.8.7", "10.9.8.6"});
    char address[16] = "";
    EXPECT_EQ(0, GetServerIp("www", address, sizeof address));
    EXPECT_STREQ("10.9.8.7", address);
    const std::string log = Log();
    EXPECT_NE(std::string::npos, log.find("]-> hostname: www.example.net\n\n"));
    EXPECT_NE(std::string::npos, log.find("]-> ip: 10.9.8.7\n\n"));
}

TEST_F(Settings, LookUpOfANumericNameReturnsItself)
{
    char address[16] = "";
    EXPECT_EQ(0, GetServerIp("255.255.255.254", address, sizeof address));
    EXPECT_STREQ("255.255.255.254", address);
}

TEST_F(Settings, LookUpThatFailsDoesNotChangeTheAddress)
{
    char address[16] = "1.2.3.4";
    EXPECT_EQ(-1, GetServerIp("nowhere", address, sizeof address));
    EXPECT_STREQ("1.2.3.4", address);
    EXPECT_TRUE(Logged("gethostbyname error for host:nowhere"));
}

TEST_F(Settings, LookUpWithoutAnAddressReturnsMinusTwo)
{
    char address[16] = "";
    FakeHost("empty", "empty.example", {});
    EXPECT_EQ(-2, GetServerIp("empty", address, sizeof address));
    const std::string log = Log();
    EXPECT_NE(std::string::npos, log.find("]-> server_ip is empty.\n\n"));
    EXPECT_EQ(std::string::npos, log.find("hostname:"));
    FakeHostWithIpv6Only("six");
    EXPECT_EQ(-2, GetServerIp("six", address, sizeof address));
    EXPECT_STREQ("", address);
}

TEST_F(Settings, LookUpWithoutAnAddressKeepsTheOldOne)
{
    char address[16] = "1.2.3.4";
    FakeHost("empty", "empty.example", {});
    EXPECT_EQ(0, GetServerIp("empty", address, sizeof address));
    EXPECT_STREQ("1.2.3.4", address);
}
