// The worker of the attached devices: the segment, the rests, the lock, the stop.
#include "tests/unit/agent/SubdevTest.h"

#include <cstring>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

#include "core/Config.h"
#include "os/OsClock.h"
#include "os/OsWait.h"
#include "os/Paths.h"
#include "platform/Protool.h"

// ---- The segment ----

TEST(SubdevSegment, IsTheAddressUpToItsThirdDot)
{
    static const struct {
        const char *address, *segment; // null: refused
    } kRows[] = {
        {"192.168.1.20", "192.168.1."},
        {"1.2.3.4", "1.2.3."},
        {"255.255.255.255", "255.255.255."},
        {"0.0.0.0", "0.0.0."},
        {"1.2.3.", "1.2.3."},
        {"", nullptr},
        {"1.2.3", nullptr},
        {"1921.168.100.2", nullptr},
        {"2551.255.255.1", nullptr},
        {"123456789012345", nullptr},
        {"1.2;reboot.3.4", nullptr},
        {"1.2. 3.4", nullptr},
        {"1.2.`x`.4", nullptr},
        {"1.2.\n.4", nullptr},
        {"-1.2.3.4", nullptr},
        {"fe80::1.2.3.4", nullptr},
    };
    for (const auto &row : kRows) {
        char segment[kSegmentSize] = "kept";
        const bool taken = GetInNetSeg(row.address, segment);
        EXPECT_STREQ(row.segment ? row.segment : "kept", segment) << row.address;
        EXPECT_EQ(row.segment != nullptr, taken) << row.address;
    }
}

// ---- When ----

TEST_F(SubdevTest, WithoutARequestNothingIsAsked)
{
    Start();
    FakeClockAdvanceMs(24 * 3600 * 1000);
    AwaitIdle();
    EXPECT_TRUE(gSdk.calls.empty());
    EXPECT_EQ(0, nQuerySubdev);
}

TEST_F(SubdevTest, FourteenDevicesRestForFourSecondsFifteenForThree)
{
    for (unsigned i = 1; i <= 14; i++) gSdk.devices.push_back(SubdevDevice(i));
    Start();
    Scan({20, 20, 20, 20, 4000});
    Pass(4000);
    AwaitIdle();
    gSdk.devices.push_back(SubdevDevice(15));
    Scan({20, 20, 20, 20, 3000});
    Pass(3000);
    AwaitIdle();
}

TEST_F(SubdevTest, DevicesOfTheArpTableCountForTheLengthOfTheRest)
{
    gSdk.devices = {SubdevDevice(1)};
    std::string table;
    for (unsigned i = 2; i <= 15; i++) table += ArpLine(i);
    Table(table);
    Start();
    Scan({20, 20, 20, 20, 3000});
}

TEST_F(SubdevTest, RequestsUntilTheEndOfTheRestCountAsAnswered)
{
    gSdk.devices = {SubdevDevice(1)};
    Start();
    RequestSubdev();
    for (int i = 0; i < 4; i++) {
        AwaitPause(20);
        RequestSubdev();
        Pass(20);
    }
    AwaitPause(4000);
    ExpectReport(0, OnlineBytes(1));
    EXPECT_EQ(1, nQuerySubdev);
    FakeClockAdvanceMs(3999);
    RequestSubdev();
    EXPECT_EQ(1, nQuerySubdev);
    Pass(1);
    AwaitIdle();
    EXPECT_EQ(0, nQuerySubdev);
    ExpectNothingSent();
    Scan();
    ExpectReport(1, OnlineBytes(1));
}

TEST_F(SubdevTest, ADeviceListThatFailsIsReadAgainEverySecond)
{
    gSdk.devices = {SubdevDevice(1)};
    gSdk.results["get_devs_cfg"] = 5;
    Start();
    RequestSubdev();
    AwaitPause(1000);
    const std::string log = Log();
    EXPECT_NE(std::string::npos, log.find("[ERR] [Subdev->SubdevThread->"));
    EXPECT_NE(std::string::npos, log.find("]-> get_devs_cfg Failed.\n\n"));
    Pass(1000);
    AwaitPause(1000);
    EXPECT_EQ(1, nQuerySubdev);
    EXPECT_EQ(Calls({"get_devs_cfg", "get_devs_cfg"}), gSdk.calls);
    gSdk.results.clear();
    Scan({1000, 20, 20, 20, 20, 4000});
    ExpectReport(0, OnlineBytes(1));
}

TEST_F(SubdevTest, AfterTenTriesInARowTheListIsReadLessAndLessOften)
{
    gSdk.devices = {SubdevDevice(1)};
    gSdk.results["get_devs_cfg"] = -1;
    Start();
    RequestSubdev();
    for (int i = 0; i < 10; i++) Pass(1000);
    for (const int64_t more : {1000, 3000, 7000, 15000, 31000, 59000, 59000}) {
        Pass(1000);
        Pass(more);
    }
    AwaitPause(1000);
    EXPECT_EQ(Calls(18, "get_devs_cfg"), gSdk.calls);
    gSdk.results.clear();
    for (const int64_t pause : {1000, 59000, 20, 20, 20, 20}) Pass(pause);
    AwaitPause(4000);
    ExpectReport(0, OnlineBytes(1));
    Pass(4000);
    AwaitIdle();

    gSdk.results["get_devs_cfg"] = -1; // a list that has come lets it begin anew
    RequestSubdev();
    for (int i = 0; i < 10; i++) Pass(1000);
    Pass(1000);
    AwaitPause(1000);
}

TEST_F(SubdevTest, ARequestEndsALongPauseBetweenTwoTriesAndNoShortOne)
{
    gSdk.results["get_devs_cfg"] = -1;
    Start();
    RequestSubdev();
    for (int i = 0; i < 12; i++) Pass(1000);
    Pass(1000);
    AwaitPause(3000);
    const size_t tries = gSdk.calls.size();
    RequestSubdev();
    AwaitPause(1000);
    EXPECT_EQ(tries + 1, gSdk.calls.size());
    RequestSubdev(); // a flood of requests is no flood of calls
    AwaitPause(1000);
    EXPECT_EQ(tries + 1, gSdk.calls.size());
    for (int i = 0; i < 10; i++) Pass(1000);
    AwaitPause(1000); // quick again after a request
}

TEST_F(SubdevTest, MoreThan128DevicesAreNotReportedUntilThereAreFewer)
{
    for (unsigned i = 1; i <= 129; i++) gSdk.devices.push_back(SubdevDevice(i));
    Start();
    RequestSubdev();
    AwaitPause(1000);
    EXPECT_TRUE(Logged("DeviceNum too large."));
    for (unsigned i = 130; i <= 300; i++) gSdk.devices.push_back(SubdevDevice(i)); // more than there is room for
    Pass(1000);
    AwaitPause(1000);
    EXPECT_TRUE(Logged("DeviceNum too large."));
    gSdk.numbers["get_devs_cfg"] = 65535;
    Pass(1000);
    AwaitPause(1000);
    ExpectNothingSent();
    gSdk.numbers.erase("get_devs_cfg");
    gSdk.devices = {SubdevDevice(1)};
    Scan({1000, 20, 20, 20, 20, 4000});
    ExpectReport(0, OnlineBytes(1));
}

// ---- The lock ----

TEST_F(SubdevTest, TheLockIsHeldDuringEveryCallAndNeverAcrossAPause)
{
    size_t locked = 0;
    gSdk.onCall = [&](const std::string &) { locked += pthread_mutex_trylock(&SubdevMutex) == EBUSY; };
    l_debug = 1;
    gSdk.devices = {SubdevDevice(1)};
    Table(ArpLine(7));
    Start();
    RequestSubdev();
    for (int i = 0; i < 4; i++) {
        AwaitPause(20);
        EXPECT_EQ(0, pthread_mutex_trylock(&SubdevMutex));
        pthread_mutex_unlock(&SubdevMutex);
        Pass(20);
    }
    AwaitPause(4000);
    EXPECT_EQ(5u, gSdk.calls.size()); // list, down, up, name, black list
    EXPECT_EQ(5u, locked);
}

TEST_F(SubdevTest, WithoutTheLockANameIsMissingAndTheListIsReadAgain)
{
    pthread_mutex_t unlocked;
    memcpy(&unlocked, &SubdevMutex, sizeof unlocked);
    gSdk.devices = {SubdevDevice(1)};
    FakeScript script;
    script.output = ArpLine(7);
    script.run = [] { pthread_mutex_lock(&SubdevMutex); }; // on the worker, which from now on gets EDEADLK
    FakeCommand("cat /proc/net/arp", script);
    l_debug = 1;
    Start();
    Scan();
    ExpectReport(0, OnlineBytes(1) + OfflineBytes(7));
    const std::string log = Log();
    EXPECT_NE(std::string::npos, log.find("[Subdev->GetOffLineInfo->"));
    EXPECT_NE(std::string::npos, log.find("[Subdev->GetBlackInfo->"));
    EXPECT_NE(std::string::npos, log.find("]-> Get SubdevMutex failed\n\n"));
    Pass(4000);
    AwaitIdle();
    RequestSubdev();
    AwaitPause(50);
    EXPECT_TRUE(Logged("Get SubdevMutex failed"));
    EXPECT_EQ(1, nQuerySubdev);
    SubdevStop();
    memcpy(&SubdevMutex, &unlocked, sizeof unlocked); // whoever held it is gone
}

// ---- The end ----

TEST_F(SubdevTest, TheWorkerStopsWhileItWaitsForARequest)
{
    Start();
    SubdevStop(); // returns although the clock stands still
    EXPECT_EQ(0, OsNowMs());
}

TEST_F(SubdevTest, TheWorkerStopsInEveryPauseWithoutAReport)
{
    for (int passed = 0; passed < 4; passed++) {
        gSdk.devices = {SubdevDevice(1)};
        Start();
        RequestSubdev();
        for (int i = 0; i < passed; i++) Pass(20);
        AwaitPause(20);
        SubdevStop();
        ExpectNothingSent();
    }
}

TEST_F(SubdevTest, TheWorkerStopsInTheRestAndBetweenTwoTries)
{
    Start();
    Scan({20, 4000});
    ExpectReport(0, {});
    SubdevStop();
    gSdk.results["get_devs_cfg"] = 5;
    Start();
    RequestSubdev();
    AwaitPause(1000);
    SubdevStop();
}

TEST_F(SubdevTest, AStopEndsTheShellCommand)
{
    gSdk.devices = {SubdevDevice(1)};
    FakeScript script;
    script.lasts = true;
    FakeCommand("cat /proc/net/arp", script);
    Start();
    RequestSubdev();
    Pass(20);
    Pass(20);
    ASSERT_TRUE(Within([] { return FakeCommandsRunning() == 1; }));
    SubdevStop();
    EXPECT_EQ(0, FakeCommandsRunning());
    ExpectNothingSent();
}

TEST_F(SubdevTest, TheWorkerCanBeStartedAgainAfterAStop)
{
    Start();
    SubdevStop();
    SubdevStop();
    Start();
    gSdk.devices = {SubdevDevice(1)};
    Table(ArpLine(7));
    Scan();
    ExpectReport(0, OnlineBytes(1) + OfflineBytes(7));
}

TEST_F(SubdevTest, AThreadThatCannotBeStartedIsLoggedAndAStopIsAllowed)
{
    FakeFailThreadStart(1, EAGAIN);
    EXPECT_EQ(EAGAIN, StartSubdev());
    SubdevStop();
}
