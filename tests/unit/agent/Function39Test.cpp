// New devices on the router's own list: when the list is read and what is reported.
#include "tests/unit/agent/Function39Test.h"

// ---- The list ----

TEST_F(Function39, TheListIsReadEverySixthCycleOfTenSeconds)
{
    Start();
    Pass(5);
    EXPECT_TRUE(gSdk.calls.empty());
    Pass(1);
    EXPECT_EQ(Calls{"get_devs_cfg"}, gSdk.calls);
    EXPECT_TRUE(Logged("Func39 query..."));
    Pass(5);
    EXPECT_EQ(1u, gSdk.calls.size());
    Pass(1);
    EXPECT_EQ(2u, gSdk.calls.size());
}

TEST_F(Function39, WithoutAFileEveryDevicePresentIsReportedOnceInTheOrderOfTheList)
{
    Household({3, 1, 2});
    Start();
    Pass(6);
    ExpectReport(3);
    ExpectReport(1);
    ExpectReport(2);
    Pass(6);
    ExpectNothingSent();
}

TEST_F(Function39, ADeviceOfTheFileIsNotReported)
{
    WriteFile(kPathMacConfig, "02aa00000001\r\n");
    Household({1, 2});
    Start();
    Pass(6);
    ExpectReport(2);
    ExpectNothingSent();
}

TEST_F(Function39, ADeviceThatShowsUpIsReportedAtTheNextQuery)
{
    Household({1});
    Start();
    Pass(6);
    ExpectReport(1);
    Household({1, 2});
    Pass(5);
    ExpectNothingSent();
    Pass(1);
    ExpectReport(2);
}

TEST_F(Function39, ADeviceThatIsTwiceInTheListIsReportedOnce)
{
    Household({1, 2, 1});
    Start();
    Pass(6);
    ExpectReport(1);
    ExpectReport(2);
    ExpectNothingSent();
}

TEST_F(Function39, ANameOf16BytesIsReportedWhole)
{
    Household({1});
    memcpy(gSdk.devices[0].name, "\xFF%n\n456789ABCDEF", 16);
    Start();
    Pass(6);
    const Bytes body = Decrypted([&] {
        const Bytes frame = peer.ReceiveFrame();
        return Bytes(frame.begin() + kFrameHeaderSize, frame.end());
    }());
    ASSERT_GE(body.size(), 47u);
    EXPECT_EQ(Text("\xFF%n\n456789ABCDEF") + Bytes(16) + Bytes{1}, Bytes(body.end() - 33, body.end()));
}

TEST_F(Function39, With128KnownDevicesNewOnesAreReportedAtEveryQuery)
{
    std::string file;
    char line[16];
    for (unsigned i = 1; i <= 128; i++) {
        snprintf(line, sizeof line, "02aa0000%04x\r\n", i);
        file += line;
    }
    WriteFile(kPathMacConfig, file);
    Household({500, 1, 501});
    Start();
    for (int i = 0; i < 2; i++) {
        Pass(6);
        ExpectReport(500);
        ExpectReport(501);
        ExpectNothingSent();
    }
    EXPECT_EQ(128, f39Num);
}

TEST_F(Function39, AListWithATooLargeCountIsCutTo128Devices)
{
    for (unsigned i = 1; i <= 300; i++) gSdk.devices.push_back(SubdevDevice(i));
    gSdk.numbers["get_devs_cfg"] = 65535;
    Start();
    Pass(6);
    for (unsigned i = 1; i <= 128; i++) ExpectReport(i);
    ExpectNothingSent();
}

TEST_F(Function39, TheLockIsHeldOnlyDuringTheCall)
{
    bool held = false;
    gSdk.onCall = [&](const std::string &) { held = pthread_mutex_trylock(&SubdevMutex) == EBUSY; };
    Start();
    Pass(6);
    EXPECT_TRUE(held);
    EXPECT_EQ(0, pthread_mutex_trylock(&SubdevMutex));
    pthread_mutex_unlock(&SubdevMutex);
}

TEST_F(Function39, AListThatFailsIsReadAgainAfterAMinuteAndACycle)
{
    Household({1});
    gSdk.results["get_devs_cfg"] = 3;
    gSdk.careless = true;
    Start();
    for (int i = 0; i < 5; i++) Pass(1);
    FakeClockAdvanceMs(10000);
    AwaitPause(60000);
    const std::string log = Log();
    EXPECT_NE(std::string::npos, log.find("[ERR] [Function39->Fn39ReportProc->"));
    EXPECT_NE(std::string::npos, log.find("]-> Func39 get_devs_cfg failed.\n\n"));
    gSdk.results.clear();
    FakeClockAdvanceMs(60000);
    AwaitPause(10000);
    EXPECT_EQ(1u, gSdk.calls.size());
    Pass(1); // still the sixth
    EXPECT_EQ(2u, gSdk.calls.size());
    ExpectReport(1);
}

TEST_F(Function39, AListThatFailsWhileTheSessionEndsIsReadAgainAfterTenSeconds)
{
    gSdk.results["get_devs_cfg"] = 3;
    gSdk.onCall = [](const std::string &) { SetSessionFlag(mLogin, 0); };
    Start();
    Pass(6); // ten seconds after the failure
    EXPECT_EQ(1u, gSdk.calls.size());
}

// ---- The switches ----

TEST_F(Function39, WithReportsSwitchedOffNothingIsReadOrSent)
{
    SetSessionFlag(AutoReportDevinfo, 0);
    Household({1});
    Start();
    Pass(20);
    EXPECT_TRUE(gSdk.calls.empty());
    SetSessionFlag(AutoReportDevinfo, 1);
    Pass(7); // one that had started, and six
    ExpectReport(1);
}

TEST_F(Function39, WhileNotLoggedInNothingIsReadOrSent)
{
    SetSessionFlag(mLogin, 0);
    Household({1});
    Start();
    Pass(20);
    EXPECT_TRUE(gSdk.calls.empty());
    SetSessionFlag(mLogin, 1);
    Pass(7);
    ExpectReport(1);
}

TEST_F(Function39, TheCyclesContinueAfterALostSession)
{
    Start();
    Pass(4);
    SetSessionFlag(mLogin, 0);
    Pass(10); // the first of them had started and counts
    SetSessionFlag(mLogin, 1);
    Pass(1);
    EXPECT_TRUE(gSdk.calls.empty());
    Pass(1);
    EXPECT_EQ(1u, gSdk.calls.size());
}

TEST_F(Function39, ASessionThatEndsInThePauseBeforeAQueryLosesNoDevice)
{
    Household({1});
    Start();
    Pass(5);
    SetSessionFlag(mLogin, 0);
    Pass(1);
    EXPECT_TRUE(gSdk.calls.empty());
    EXPECT_FALSE(KnownHas(SubdevMac(1).data()));
    Pass(3);
    SetSessionFlag(mLogin, 1);
    Pass(2); // one that had started, and the one before the query, which is still due
    EXPECT_EQ(1u, gSdk.calls.size());
    ExpectReport(1);
    Pass(6);
    ExpectNothingSent();
}

TEST_F(Function39, ASessionThatEndsDuringAQueryLosesNoDevice)
{
    SetSessionFlag(Fn40Interval, 6); // not even when the renewal falls into the same cycle
    Household({1});
    gSdk.onCall = [](const std::string &) { SetSessionFlag(mLogin, 0); };
    Start();
    Pass(6);
    gSdk.onCall = nullptr;
    EXPECT_FALSE(KnownHas(SubdevMac(1).data()));
    SetSessionFlag(mLogin, 1);
    Pass(2);
    ExpectReport(1);
}

TEST_F(Function39, ADeviceFoundWhileReportsAreSwitchedOffCountsAsReported)
{
    Household({1});
    Start();
    gSdk.onCall = [](const std::string &) { SetSessionFlag(AutoReportDevinfo, 0); };
    Pass(6);
    gSdk.onCall = nullptr;
    ExpectNothingSent();
    SetSessionFlag(AutoReportDevinfo, 1);
    Pass(7);
    ExpectNothingSent();
    EXPECT_TRUE(KnownHas(SubdevMac(1).data()));
}

TEST_F(Function39, WithDebugAReportIsPrintedOnStandardOutput)
{
    l_debug = 1;
    Household({0xAB});
    Start();
    testing::internal::CaptureStdout();
    Pass(6);
    const std::string shown = testing::internal::GetCapturedStdout();
    std::string expected = "00 00 28 00 00 00 01 00 02 AA 00 00 00 AB 64 65 76 31 37 31 ";
    for (int i = 0; i < 26; i++) expected += "00 ";
    EXPECT_EQ(expected + "01 \n", shown);
    const std::string log = Log();
    EXPECT_NE(std::string::npos, log.find("[Function39->Fn39OnlineReport->"));
    EXPECT_NE(std::string::npos, log.find("]-> Online subdev:\n\n"));
}

TEST_F(Function39, WithDebugAReportIsPrintedAtOnce)
{
    l_debug = 1;
    Household({1});
    Start();
    const StandardOutput shown;
    Pass(6);
    EXPECT_EQ(47u * 3 + 1, shown.SoFar().size());
    EXPECT_EQ('\n', shown.SoFar().back());
}

// ---- The renewal ----

TEST_F(Function39, TheRenewalWritesTheListAndKeepsOnlyPresentDevices)
{
    Household({1, 2});
    Start();
    Pass(24);
    ExpectReport(1);
    ExpectReport(2);
    EXPECT_EQ("", ReadFile(kPathMacConfig));
    Household({2, 3});
    Pass(6); // the thirtieth
    ExpectReport(3);
    EXPECT_EQ("02aa00000002\r\n02aa00000003\r\n", ReadFile(kPathMacConfig));
    Household({1, 2, 3});
    Pass(6);
    ExpectReport(1); // it had left
    ExpectNothingSent();
}

TEST_F(Function39, ADeviceThatReturnsBeforeARenewalIsNotReportedAgain)
{
    Household({1});
    Start();
    Pass(6);
    ExpectReport(1);
    Household({});
    Pass(12);
    Household({1});
    Pass(18); // the renewal finds it
    ExpectNothingSent();
}

TEST_F(Function39, TheCyclesCountFromOneAgainAfterTheRenewal)
{
    SetSessionFlag(Fn40Interval, 7);
    Start();
    Pass(7);
    EXPECT_EQ(1u, gSdk.calls.size());
    Pass(5);
    EXPECT_EQ(1u, gSdk.calls.size());
    Pass(1);
    EXPECT_EQ(2u, gSdk.calls.size());
}

TEST_F(Function39, AnIntervalAlreadyPassedRenewsAtTheNextCycle)
{
    Household({1});
    Start();
    Pass(10);
    ExpectReport(1);
    SetSessionFlag(Fn40Interval, 8);
    Pass(1);
    EXPECT_EQ("02aa00000001\r\n", ReadFile(kPathMacConfig));
}

TEST_F(Function39, IntervalsBelowSixRenewBeforeTheFirstQuery)
{
    for (int interval : {5, 1, 0, -1}) {
        SetSessionFlag(Fn40Interval, interval);
        WriteFile(kPathMacConfig, "02aa00000001\r\n");
        Start();
        Pass(12);
        EXPECT_TRUE(gSdk.calls.empty()) << interval;
        EXPECT_EQ("", ReadFile(kPathMacConfig)) << interval;
        Fn39Stop();
    }
}

TEST_F(Function39, ARenewalWhileTheSessionEndsKeepsTheFile)
{
    SetSessionFlag(Fn40Interval, 6);
    Household({1});
    WriteFile(kPathMacConfig, "02aa00000002\r\n");
    gSdk.onCall = [](const std::string &) { SetSessionFlag(mLogin, 0); };
    Start();
    Pass(6);
    EXPECT_EQ("02aa00000002\r\n", ReadFile(kPathMacConfig));
    EXPECT_EQ(1, f39Num);
}

TEST_F(Function39, KnownDevicesOutliveARestart)
{
    SetSessionFlag(Fn40Interval, 6);
    Household({1, 2});
    Start();
    Pass(6);
    ExpectReport(1);
    ExpectReport(2);
    Fn39Stop();
    KnownClear();
    Household({1, 2, 3});
    Start();
    Pass(6);
    ExpectReport(3);
    ExpectNothingSent();
}
