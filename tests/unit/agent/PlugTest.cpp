// Start-up and the part of the cycle that needs no platform: registration attempts that fail.
#include "Plug.h"

#include <cerrno>
#include <cstring>
#include <list>

#include "comm/CommHandle.h"
#include "comm/FuncIdList.h"
#include "core/Common.h"
#include "core/Config.h"
#include "os/OsClock.h"
#include "os/Paths.h"
#include "platform/Protool.h"
#include "platform/ServerStop.h"
#include "platform/Settings.h"
#include "subdev/Function40.h"
#include "tests/unit/agent/CommTest.h"
#include "tests/unit/agent/FeatureSpy.h"
#include "tests/unit/agent/PlatformSide.h"

class PlugTest : public AgentTest
{
  protected:
    void SetUp() override
    {
        AgentTest::SetUp();
        strcpy(g_pin_code, kTestPin);
        strcpy(gProtoolKey, kTestKey);
        FakeClockAuto(true);
        // A port below those allowed ends the settings before any name is looked up.
        WriteFile(kPathDefaultConfig, "[Protool]\nPORT=1\n");
    }

    static void Start(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), "plug");
        // getopt() keeps a pointer into the last text it has seen, so they all stay.
        static std::list<std::vector<std::string>> kept;
        kept.push_back(std::move(arguments));
        std::vector<char *> argv;
        for (std::string &argument : kept.back()) argv.push_back(&argument[0]);
        argv.push_back(nullptr);
        PlugStart(static_cast<int>(argv.size()) - 1, argv.data());
    }

    // Both servers stand for nobody there.
    void NobodyListens(int mode)
    {
        runMode = mode;
        regist_port = unused.Number();
        strcpy(RegisterIpAddr1, "127.0.0.1");
        strcpy(RegisterIpAddr2, "127.0.0.2");
    }

    const UnusedPort unused;
    FeatureSpy spy;
};

// ---- Start-up ----

TEST_F(PlugTest, WrongOptionsEndTheProcess)
{
    d_set_log_level(LOG_LEVEL_ERR); // as it is when the process starts
    EXPECT_ENDS(Start({"-m", "0211"}), "Error wrong param\\(s\\)\\.");
    EXPECT_ENDS(Start({"-f"}), "Error wrong param\\(s\\)\\.");
    EXPECT_TRUE(spy.Calls().empty());
}

TEST_F(PlugTest, WithDebugEverythingIsLoggedAndTheBannerComesFirst)
{
    Start({"-d"});
    EXPECT_EQ(31u, log_level);
    const std::string log = Log();
    const size_t working = log.find("Log system [debug] working.\n");
    const size_t banner = log.find(">>>>>>>>>>>>>>>>> Plugin Version = 2.0.0.7-20220406\n");
    ASSERT_NE(std::string::npos, working);
    ASSERT_NE(std::string::npos, banner);
    EXPECT_NE('>', log[banner - 1]);
    EXPECT_LT(working, banner);
    EXPECT_NE(std::string::npos, log.substr(0, working).find("[DEBUG]"));
    EXPECT_NE(std::string::npos, log.substr(working, banner - working).find("[INFO]"));
}

TEST_F(PlugTest, WithoutDebugNothingIsLogged)
{
    Start({});
    EXPECT_EQ(0u, log_level);
    EXPECT_EQ("", Log());
}

TEST_F(PlugTest, ForgetsMacAndSerialBeforeTheOptions)
{
    memset(l_mac, 0xEE, sizeof l_mac);
    strcpy(gSN, "old");
    Start({});
    EXPECT_EQ(Bytes(6, 0), Bytes(l_mac, l_mac + 6));
    EXPECT_STREQ("", gSN);
    Start({"-m", "0211aaBBccdd"});
    EXPECT_EQ(Hex("02 11 AA BB CC DD"), Bytes(l_mac, l_mac + 6));
}

TEST_F(PlugTest, StartsTheServicesInOrderWithTheirPauses)
{
    Start({});
    const struct {
        const char *name;
        int64_t atMs;
    } expected[] = {
        {"StartEaccess", 50}, {"CommServerStart", 50}, {"Fn39Init", 60}, {"Fn40Init", 70}, {"StartSubdev", 70}};
    const std::vector<FeatureSpy::Call> calls = spy.Calls();
    ASSERT_EQ(5u, calls.size());
    for (size_t i = 0; i < 5; i++) {
        EXPECT_EQ(expected[i].name, calls[i].name);
        EXPECT_EQ(expected[i].atMs, calls[i].atMs);
    }
}

TEST_F(PlugTest, HandsTheDevicesOfTheLocalPeerToFunction40)
{
    const Bytes device = Hex("02 AA BB CC DD 03");
    CommOnDevices(nullptr);
    Start({});
    Fn40Interval = AutoReportDevinfo = 0;
    Fn40Cycle(); // at this interval it empties the filter
    mLogin = 1;
    Bytes slot = Slot(LocalFrame(FUNCID_DEVICES, CommRxSeq + 1, Hex("01 00") + device + Bytes(32, 0x20) + Bytes{1}));
    CommHandleFrame(slot.data());
    EXPECT_TRUE(Fn40Knows(device.data()));
}

TEST_F(PlugTest, ReadsTheSettingsFromTheDefaultFileAndContinuesWithoutThem)
{
    WriteFile(kPathDefaultConfig, "[Dev]\nPIN=4711\n[Protool]\nKEY=secret\nPORT=1\n");
    Start({"-d"});
    EXPECT_STREQ("4711", g_pin_code);
    EXPECT_STREQ("secret", gProtoolKey);
    EXPECT_NE(std::string::npos, Log().find("RegPort error.\n"));
    EXPECT_EQ(5u, spy.Calls().size());
}

TEST_F(PlugTest, ALocalServerThatCannotStartEndsTheProcess)
{
    spy.serverResult = -1;
    EXPECT_ENDS(Start({"-d"}), "Comm server start error\\.");
}

TEST_F(PlugTest, ADeviceWorkerThatCannotStartEndsTheProcess)
{
    spy.devicesResult = 3;
    EXPECT_ENDS(Start({"-d"}), "StartSubdev failed\\.");
}

TEST_F(PlugTest, AServiceThatCouldNotStartIsTriedAgainInEveryCycleUntilItStarts)
{
    const std::vector<std::string> all = {"StartEaccess", "CommServerStart", "Fn39Init", "Fn40Init", "StartSubdev"};
    spy.results = {{"StartEaccess", EAGAIN}, {"Fn39Init", -1}, {"Fn40Init", -1}};
    Start({});
    NobodyListens(0);
    EXPECT_EQ(all, spy.Names());
    PlugCycle();
    std::vector<std::string> expected = all;
    expected.insert(expected.end(), {"StartEaccess", "Fn39Init", "Fn40Init"});
    EXPECT_EQ(expected, spy.Names());
    spy.results = {{"Fn39Init", -1}};
    PlugCycle();
    expected.insert(expected.end(), {"StartEaccess", "Fn39Init", "Fn40Init"});
    EXPECT_EQ(expected, spy.Names());
    spy.results.clear();
    PlugCycle();
    expected.insert(expected.end(), {"Fn39Init"});
    EXPECT_EQ(expected, spy.Names());
    PlugCycle();
    EXPECT_EQ(expected, spy.Names());
    EXPECT_EQ("001\n", StatusFile()); // a failure's 102 does not stand in the way of the next stage
}

TEST_F(PlugTest, AFatalStartErrorIsPrintedInOneLineWithoutTheLog)
{
    spy.serverResult = -1;
    EXPECT_ENDS(Start({}), "^plug: Comm server start error\\.\n$");
    spy.serverResult = 0;
    spy.devicesResult = 3;
    EXPECT_ENDS(Start({}), "^plug: StartSubdev failed\\.\n$");
}

TEST_F(PlugTest, AFatalStartErrorIsLoggedOnceWithTheLog)
{
    spy.serverResult = -1;
    EXPECT_ENDS(Start({"-d"}), "\\[Plug->main->[0-9]+\\]-> [^ ]*Comm server start error\\.[^.]*$");
}

// ---- Failed registrations ----

TEST_F(PlugTest, ACycleResetsTheSessionValues)
{
    NobodyListens(0);
    ServerRun = 1;
    mHeartTime = 5;
    mHeartInterval = 20;
    mLogin = mQuitPro = mRegist = 1;
    PlugCycle();
    EXPECT_EQ(std::string::npos, Log().find("Client running.")) << "the run flag was cleared first";
    EXPECT_EQ(0u, mHeartTime);
    EXPECT_EQ(50, mHeartInterval);
    EXPECT_EQ(0, mLogin);
    EXPECT_EQ(0, mQuitPro);
    EXPECT_EQ(0, mRegist);
    EXPECT_EQ("001\n", StatusFile());
}

TEST_F(PlugTest, WithTwoServersTheSecondIsTriedAfterTheFirst)
{
    NobodyListens(1);
    PlugCycle();
    const std::string log = Log();
    const size_t first = log.find("Register server1...\n");
    const size_t refused = log.find("connect failed!......\n");
    const size_t second = log.find("Register server2...\n");
    ASSERT_NE(std::string::npos, second);
    EXPECT_LT(first, refused);
    EXPECT_LT(refused, second);
    EXPECT_EQ(2u, CountOf(log, "connect failed!......\n"));
    EXPECT_EQ(1u, CountOf(log, "RegisterStart error.\n"));
}

TEST_F(PlugTest, WithOneServerTheSecondIsNeverTried)
{
    Peer second; // would be there
    NobodyListens(0);
    regist_port = second.Port();
    strcpy(RegisterIpAddr1, "127.0.0.9");
    strcpy(RegisterIpAddr2, "127.0.0.1");
    PlugCycle();
    const std::string log = Log();
    EXPECT_EQ(0u, CountOf(log, "Register server1..."));
    EXPECT_EQ(0u, CountOf(log, "Register server2..."));
    EXPECT_EQ(0u, CountOf(log, "connected."));
    EXPECT_EQ(1u, CountOf(log, "RegisterStart error.\n"));
}

TEST_F(PlugTest, TheSessionValuesAreResetAgainBeforeTheSecondServer)
{
    Peer silent; // takes the connection and says nothing: status 101
    NobodyListens(1);
    regist_port = silent.Port();
    PlugCycle();
    EXPECT_EQ(1u, CountOf(Log(), "Register failed.\n"));
    EXPECT_EQ("001\n", StatusFile());
}

TEST_F(PlugTest, AFailedAttemptIsFollowedAtOnceByTheNext)
{
    NobodyListens(0);
    PlugCycle();
    EXPECT_EQ(1000, OsNowMs()); // the closing of the connection, nothing else
    NobodyListens(1);
    PlugCycle();
    EXPECT_EQ(3000, OsNowMs());
}

TEST_F(PlugTest, TheTwelfthFailedAttemptInARowEndsTheProcess)
{
    NobodyListens(1);
    for (int attempt = 1; attempt <= 11; attempt++) PlugCycle();
    const std::string log = Log();
    EXPECT_EQ(11u, CountOf(log, "RegisterStart error.\n"));
    EXPECT_EQ(0u, CountOf(log, "Register retry more than 10 times"));
    EXPECT_EQ("001\n", StatusFile());
    EXPECT_ENDS(PlugCycle(), "Register retry more than 10 times, exit !!!");
    EXPECT_EQ("102\n", StatusFile());
}

TEST_F(PlugTest, APlatformThatNeverAnswersEndsTheProcessAfterTwelveAttempts)
{
    const auto run = [this] {
        Peer silent;
        NobodyListens(0);
        regist_port = silent.Port();
        int attempts = 0;
        for (;;) {
            fprintf(stderr, "attempt %d\n", ++attempts);
            if (attempts > 12) _exit(1);
            // The listener's queue is short; each connection is taken out of it.
            Running taker([&silent] { silent.Accept(); });
            PlugCycle();
        }
    };
    EXPECT_ENDS(run(), "attempt 12.*Register failed.*Register retry more than 10 times, exit !!!");
    EXPECT_EQ("102\n", StatusFile());
}

TEST_F(PlugTest, NoDutyIsDoneAndNoTickCountedWithoutASession)
{
    NobodyListens(0);
    PlugSetDutyCounter(8);
    for (int attempt = 0; attempt < 3; attempt++) PlugCycle();
    EXPECT_EQ(8u, PlugDutyCounter());
    EXPECT_TRUE(spy.Calls().empty());
}
