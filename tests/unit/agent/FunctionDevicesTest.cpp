// Functions 32 to 39, 41, 43 and 64: the device table.
#include <cerrno>
#include <cstring>

#include "functions/ProtoolSdk.h"
#include "platform/Settings.h"
#include "subdev/Subdev.h"
#include "subdev/SubdevMutex.h"
#include "tests/unit/agent/FunctionTest.h"

typedef FunctionTest FunctionDevicesTest;

static const char kMac[] = "02 1A 2B 00 00 01";
static const std::string kMacText = "02:1A:2B:00:00:01";
static const std::string kNoMac = "00:00:00:00:00:00";

static std::string Noted(const DevCfg &device)
{
    return CallText("set_dev_access_control", ShownBytes{&device, sizeof device});
}

// ---- The lock, of every row that makes calls on the table ----

static const uint16_t kTableRows[] = {32, 33, 34, 35, 36, 37, 38, 39, 41, 42, 43};

class DeviceTableRowTest : public FunctionTest, public testing::WithParamInterface<uint16_t>
{
};

TEST_P(DeviceTableRowTest, HoldsTheLockDuringEveryCallAndNotAfterwards)
{
    size_t locked = 0;
    gSdk.onCall = [&](const std::string &) { locked += pthread_mutex_trylock(&SubdevMutex) == EBUSY; };
    for (int result : {0, -1}) { // a failed call lets go of it as well
        gSdk.result = result;
        Reply(GetParam(), Hex(kMac));
    }
    EXPECT_GT(gSdk.calls.size(), 0u);
    EXPECT_EQ(gSdk.calls.size(), locked);
    ASSERT_EQ(0, pthread_mutex_trylock(&SubdevMutex));
    pthread_mutex_unlock(&SubdevMutex);
}

TEST_P(DeviceTableRowTest, AnswersTheErrorOfTheLockAndMakesNoCall)
{
    gSdk.devices.assign(3, SampleDevice());
    ASSERT_EQ(0, pthread_mutex_lock(&SubdevMutex));
    const Bytes reply = Reply(GetParam(), Hex(kMac));
    ASSERT_EQ(0, pthread_mutex_unlock(&SubdevMutex));
    EXPECT_EQ(Bytes({0xA5, 0x5A, static_cast<uint8_t>(GetParam()), 0, EDEADLK, 0}), reply);
    EXPECT_EQ(Calls(), gSdk.calls);
    EXPECT_NE(std::string::npos, Log().find("Get SubdevMutex failed\n"));
}

static std::string NumberOfRow(const testing::TestParamInfo<uint16_t> &info)
{
    return std::to_string(info.param);
}
INSTANTIATE_TEST_SUITE_P(All, DeviceTableRowTest, testing::ValuesIn(kTableRows), NumberOfRow);

// ---- 32: access ----

TEST_F(FunctionDevicesTest, AccessHandsTheRecordOnInTheRoutersOrderWithTheRunMode)
{
    for (int mode : {0, 1}) {
        runMode = mode;
        gSdk.calls.clear();
        EXPECT_EQ(Head(32), Reply(32, SampleDeviceOnTheWire()));
        DevCfg expected = SampleDevice();
        expected.changed = static_cast<uint8_t>(mode);
        EXPECT_EQ(Calls({Noted(expected)}), gSdk.calls);
    }
}

TEST_F(FunctionDevicesTest, MissingBytesOfAnAccessRecordAreZero)
{
    runMode = 1;
    DevCfg expected = {};
    expected.changed = 1;
    Reply(32);
    memcpy(expected.mac, Hex(kMac).data(), 6);
    Reply(32, Hex(kMac));
    DevCfg nothing = {};
    nothing.changed = 1;
    EXPECT_EQ(Calls({Noted(nothing), Noted(expected)}), gSdk.calls);
}

TEST_F(FunctionDevicesTest, TheRoutersResultForAnAccessIsTheStatus)
{
    gSdk.result = -4;
    EXPECT_EQ(Head(32, "FC FF"), Reply(32, SampleDeviceOnTheWire()));
}

// ---- 33: bandwidth in use ----

TEST_F(FunctionDevicesTest, BandwidthIsUpThenDownWithStatusZero)
{
    gSdk.numbers = {{"get_dev_us_bw", 0x0102030405060708}, {"get_dev_ds_bw", 9}};
    gSdk.result = -1; // ignored: the bandwidths are return values
    EXPECT_EQ(Head(33) + Hex("08 07 06 05 04 03 02 01  09 00 00 00 00 00 00 00"), Reply(33, Hex(kMac)));
    EXPECT_EQ(Calls({"get_dev_us_bw(" + kMacText + ")", "get_dev_ds_bw(" + kMacText + ")"}), gSdk.calls);
}

// ---- 34 and 35: limits ----

TEST_F(FunctionDevicesTest, LimitsAreUpThenDown)
{
    gSdk.numbers = {{"get_dev_us_max_bw", 1000000}, {"get_dev_ds_max_bw", 0xFFFFFFFFFFFFFFFE}};
    EXPECT_EQ(Head(34) + Hex("40 42 0F 00 00 00 00 00  FE FF FF FF FF FF FF FF"), Reply(34, Hex(kMac)));
    EXPECT_EQ(Calls({"get_dev_us_max_bw(" + kMacText + ")", "get_dev_ds_max_bw(" + kMacText + ")"}), gSdk.calls);
}

TEST_F(FunctionDevicesTest, ALimitThatCannotBeReadIsZeroAndTheFirstFailureIsTheStatus)
{
    gSdk.numbers = {{"get_dev_us_max_bw", 1}, {"get_dev_ds_max_bw", 2}};
    const Bytes one = Hex("01 00 00 00 00 00 00 00"), two = Hex("02 00 00 00 00 00 00 00"), zero = Bytes(8, 0);
    for (bool careless : {false, true}) {
        gSdk.careless = careless;
        gSdk.results = {{"get_dev_us_max_bw", -1}};
        EXPECT_EQ(Head(34, "FF FF") + zero + two, Reply(34, Hex(kMac)));
        gSdk.results = {{"get_dev_ds_max_bw", -2}};
        EXPECT_EQ(Head(34, "FE FF") + one + zero, Reply(34, Hex(kMac)));
        gSdk.results = {{"get_dev_us_max_bw", -1}, {"get_dev_ds_max_bw", -2}};
        EXPECT_EQ(Head(34, "FF FF") + zero + zero, Reply(34, Hex(kMac)));
    }
    EXPECT_EQ(12u, gSdk.calls.size());
}

TEST_F(FunctionDevicesTest, SettingLimitsTakesUpThenDownAfterTheMac)
{
    EXPECT_EQ(Head(35), Reply(35, Hex(kMac) + Hex("40 42 0F 00 00 00 00 00  08 07 06 05 04 03 02 01")));
    EXPECT_EQ(Calls({"set_dev_us_max_bw(" + kMacText + ", 1000000)",
                     "set_dev_ds_max_bw(" + kMacText + ", 72623859790382856)"}),
              gSdk.calls);
}

TEST_F(FunctionDevicesTest, BothLimitsAreSetAndTheFirstFailureIsTheStatus)
{
    gSdk.results = {{"set_dev_us_max_bw", -1}, {"set_dev_ds_max_bw", -2}};
    EXPECT_EQ(Head(35, "FF FF"), Reply(35, Hex(kMac) + Bytes(16, 0xFF)));
    EXPECT_EQ(Calls({"set_dev_us_max_bw(" + kMacText + ", -1)", "set_dev_ds_max_bw(" + kMacText + ", -1)"}),
              gSdk.calls);
    gSdk.results = {{"set_dev_ds_max_bw", -2}};
    EXPECT_EQ(Head(35, "FE FF"), Reply(35));
}

TEST_F(FunctionDevicesTest, LimitsThatWereNotSentAreZero)
{
    Reply(35, Hex(kMac) + Hex("05"));
    EXPECT_EQ(Calls({"set_dev_us_max_bw(" + kMacText + ", 5)", "set_dev_ds_max_bw(" + kMacText + ", 0)"}), gSdk.calls);
}

// ---- 36 and 37: name ----

TEST_F(FunctionDevicesTest, ADeviceNameIsAFieldOfSixtyFour)
{
    gSdk.texts["get_dev_name"] = "Printer";
    EXPECT_EQ(Head(36) + Field("Printer", 64), Reply(36, Hex(kMac)));
    gSdk.texts["get_dev_name"] = std::string(80, 'N');
    EXPECT_EQ(Head(36) + Bytes(64, 'N'), Reply(36, Hex(kMac)));
    EXPECT_EQ(Calls(2, "get_dev_name(" + kMacText + ")"), gSdk.calls);
}

TEST_F(FunctionDevicesTest, AnUnknownDeviceHasAnEmptyNameAndStatusZero)
{
    gSdk.texts["get_dev_name"] = "Printer";
    for (bool careless : {false, true}) {
        Fail(-1, careless);
        EXPECT_EQ(Head(36) + Bytes(64, 0), Reply(36, Hex(kMac)));
    }
}

TEST_F(FunctionDevicesTest, SettingANameTakesTheTextAfterTheMac)
{
    const std::string longest(1500, 'n');
    EXPECT_EQ(Head(37), Reply(37, Hex(kMac) + Text("Some name")));
    EXPECT_EQ(Head(37), Reply(37, Hex(kMac) + Text("Some") + Hex("00") + Text("name"))); // a NUL ends it
    EXPECT_EQ(Head(37), Reply(37, Hex(kMac)));
    EXPECT_EQ(Head(37), Reply(37, Hex(kMac) + Text(longest))); // too long for a name: the router's to refuse
    const std::string call = "set_dev_name(" + kMacText + ", \"";
    EXPECT_EQ(Calls({call + "Some name\")", call + "Some\")", call + "\")", call + longest + "\")"}), gSdk.calls);
    gSdk.result = -2;
    EXPECT_EQ(Head(37, "FE FF"), Reply(37, Hex(kMac)));
}

TEST_F(FunctionDevicesTest, ATextThatFillsTheRequestEndsAtItsLastByte)
{
    const std::string longest(kFunctionRequestSize - kFunctionRequestMin - 6 - 1, 'n'); // after the MAC
    EXPECT_EQ(Head(37), Reply(37, Hex(kMac) + Text(longest)));
    EXPECT_EQ(Calls({"set_dev_name(" + kMacText + ", \"" + longest + "\")"}), gSdk.calls);
}

// ---- 38: one device ----

TEST_F(FunctionDevicesTest, ADeviceIsItsRecord)
{
    gSdk.device = SampleDevice();
    const Bytes reply = Reply(38, Hex(kMac));
    EXPECT_EQ(40u, reply.size());
    EXPECT_EQ(Head(38) + SampleDeviceOnTheWire(), reply);
    EXPECT_EQ(Calls({"get_dev_cfg(" + kMacText + ")"}), gSdk.calls);
}

TEST_F(FunctionDevicesTest, ADeviceThatDoesNotExistIsZeros)
{
    gSdk.device = SampleDevice();
    for (bool careless : {false, true}) {
        Fail(-1, careless);
        EXPECT_EQ(Head(38, "FF FF") + Bytes(34, 0), Reply(38, Hex(kMac)));
    }
}

// ---- 39: all devices ----

TEST_F(FunctionDevicesTest, AllDevicesAreTheirCountAndTheirRecords)
{
    DevCfg second = {};
    second.ip = Ip(10, 1, 2, 3);
    second.port = 2;
    gSdk.devices = {SampleDevice(), second};
    EXPECT_EQ(Head(39) + Hex("02 00") + SampleDeviceOnTheWire() + Bytes(28, 0) + Hex("02 00  03 02 01 0A"), Reply(39));
    EXPECT_EQ(Calls({"get_devs_cfg"}), gSdk.calls);
}

TEST_F(FunctionDevicesTest, WithoutDevicesThereIsACountOfZero)
{
    EXPECT_EQ(Head(39) + Hex("00 00"), Reply(39));
}

TEST_F(FunctionDevicesTest, AReplyHasAtMost128Devices)
{
    for (size_t there : {127, 128, 129, 200, 65535}) {
        gSdk.devices.assign(there, SampleDevice());
        const size_t told = there < 128 ? there : 128;
        const Bytes reply = Reply(39);
        EXPECT_EQ(Head(39) + Bytes({static_cast<uint8_t>(told), 0}) + Repeated(SampleDeviceOnTheWire(), told), reply)
            << there;
    }
}

TEST_F(FunctionDevicesTest, ATableThatCannotBeReadIsEmptyWithStatusZero)
{
    gSdk.devices.assign(5, SampleDevice());
    for (bool careless : {false, true}) {
        Fail(-1, careless);
        EXPECT_EQ(Head(39) + Hex("00 00"), Reply(39));
    }
}

// ---- 41: link speeds ----

TEST_F(FunctionDevicesTest, SpeedsAreNegotiatedReceiveTransmitAndTheFirstIsLogged)
{
    const std::string call = "get_dev_speed(" + kMacText + ", ";
    gSdk.numbers = {{call + "0)", 1000}, {call + "1)", 0x0102}, {call + "2)", 0xFFFF}};
    const Bytes reply = Reply(41, Hex(kMac));
    EXPECT_EQ(12u, reply.size());
    EXPECT_EQ(Head(41) + Hex("E8 03  02 01  FF FF"), reply);
    EXPECT_EQ(Calls({call + "0)", call + "1)", call + "2)"}), gSdk.calls);
    EXPECT_NE(std::string::npos, Log().find("speed1=1000 Mbps\n"));
}

TEST_F(FunctionDevicesTest, ASpeedThatCannotBeReadIsZeroAndTheFirstFailureIsTheStatus)
{
    const std::string call = "get_dev_speed(" + kMacText + ", ";
    gSdk.numbers["get_dev_speed"] = 7;
    for (bool careless : {false, true}) {
        gSdk.careless = careless;
        gSdk.results = {{call + "1)", -1}, {call + "2)", -2}};
        EXPECT_EQ(Head(41, "FF FF") + Hex("07 00  00 00  00 00"), Reply(41, Hex(kMac)));
        gSdk.results = {{call + "0)", -3}};
        EXPECT_EQ(Head(41, "FD FF") + Hex("00 00  07 00  07 00"), Reply(41, Hex(kMac)));
    }
    EXPECT_EQ(12u, gSdk.calls.size());
}

// ---- 43: black list ----

TEST_F(FunctionDevicesTest, TheBlackListIsItsMacsAndNoCount)
{
    gSdk.blackList = {{1, 2, 3, 4, 5, 6}, {0xFF, 0xFE, 0xFD, 0xFC, 0xFB, 0xFA}};
    EXPECT_EQ(Head(43) + Hex("01 02 03 04 05 06  FF FE FD FC FB FA"), Reply(43));
    EXPECT_EQ(Calls({"get_dev_black_list"}), gSdk.calls);
}

TEST_F(FunctionDevicesTest, AnEmptyBlackListIsTheStatusAlone)
{
    EXPECT_EQ(Head(43), Reply(43));
}

TEST_F(FunctionDevicesTest, AReplyHasAtMost100Macs)
{
    for (size_t there : {100, 101, 65535}) {
        gSdk.blackList.assign(there, {1, 2, 3, 4, 5, 6});
        EXPECT_EQ(Head(43) + Repeated(Hex("01 02 03 04 05 06"), 100), Reply(43)) << there;
    }
}

TEST_F(FunctionDevicesTest, AFailedBlackListHasNoMacs)
{
    gSdk.blackList.assign(3, {1, 2, 3, 4, 5, 6});
    for (bool careless : {false, true}) {
        Fail(-6, careless);
        EXPECT_EQ(Head(43, "FA FF"), Reply(43));
    }
}

// ---- What they share, and 64 ----

TEST_F(FunctionDevicesTest, AMacThatWasNotSentIsZeros)
{
    for (uint16_t id : {33, 34, 36, 37, 38, 41}) Reply(id);
    EXPECT_EQ(
        Calls({"get_dev_us_bw(" + kNoMac + ")", "get_dev_ds_bw(" + kNoMac + ")", "get_dev_us_max_bw(" + kNoMac + ")",
               "get_dev_ds_max_bw(" + kNoMac + ")", "get_dev_name(" + kNoMac + ")",
               "set_dev_name(" + kNoMac + ", \"\")", "get_dev_cfg(" + kNoMac + ")", "get_dev_speed(" + kNoMac + ", 0)",
               "get_dev_speed(" + kNoMac + ", 1)", "get_dev_speed(" + kNoMac + ", 2)"}),
        gSdk.calls);
}

TEST_F(FunctionDevicesTest, AReportRequestSetsItsFlagAndMakesNoRouterCall)
{
    nQuerySubdev = 0;
    gSdk.result = -1;
    EXPECT_EQ(Head(64), Reply(64));
    EXPECT_EQ(1, nQuerySubdev);
    EXPECT_EQ(Calls(), gSdk.calls);
    nQuerySubdev = 0;
}
