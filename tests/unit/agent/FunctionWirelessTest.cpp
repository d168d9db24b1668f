// Functions 13 to 17 and 42: the wireless networks of the router and of its neighbours.
#include <cstring>

#include "tests/unit/agent/FunctionTest.h"

typedef FunctionTest FunctionWirelessTest;

static std::string Noted(const SsidCfg &ssid)
{
    return CallText("set_ssid_cfg", ShownBytes{&ssid, sizeof ssid});
}

// ---- 13: all SSIDs ----

TEST_F(FunctionWirelessTest, AllSsidsAreTheirRecordsAndNoCount)
{
    SsidCfg second = {};
    second.channel = 6;
    gSdk.ssids = {SampleSsid(), second};
    EXPECT_EQ(Head(13) + SampleSsidOnTheWire() + Bytes(110, 0) + Hex("06 00") + Bytes(8, 0), Reply(13));
    EXPECT_EQ(Calls({"get_wlans_cfg"}), gSdk.calls);
}

TEST_F(FunctionWirelessTest, WithoutSsidsThereIsTheStatusAlone)
{
    EXPECT_EQ(Head(13), Reply(13));
}

TEST_F(FunctionWirelessTest, AReplyHasAtMost16Ssids)
{
    gSdk.ssids.assign(16, SampleSsid());
    const Bytes sixteen = Head(13) + Repeated(SampleSsidOnTheWire(), 16);
    EXPECT_EQ(1926u, sixteen.size());
    EXPECT_EQ(sixteen, Reply(13));
    for (size_t count : {17, 69, 65535}) {
        gSdk.numbers["get_wlans_cfg"] = count;
        EXPECT_EQ(sixteen, Reply(13)) << count;
    }
}

TEST_F(FunctionWirelessTest, AFailedListOfSsidsHasNoRecords)
{
    gSdk.ssids.assign(3, SampleSsid());
    for (bool careless : {false, true}) {
        Fail(-4, careless);
        EXPECT_EQ(Head(13, "FC FF"), Reply(13));
    }
}

// ---- 14 and 15: one SSID on or off ----

TEST_F(FunctionWirelessTest, AnSsidSwitchIsTheByteOfItsIndex)
{
    gSdk.numbers = {{"get_ssid_switch(0)", 1}, {"get_ssid_switch(258)", 0x80}};
    EXPECT_EQ(Head(14) + Hex("01"), Reply(14)); // an index that was not sent is 0
    EXPECT_EQ(Head(14) + Hex("80"), Reply(14, Hex("02 01")));
    EXPECT_EQ(Calls({"get_ssid_switch(0)", "get_ssid_switch(258)"}), gSdk.calls);
}

TEST_F(FunctionWirelessTest, AnSsidSwitchThatCannotBeReadIsZero)
{
    gSdk.numbers["get_ssid_switch"] = 1;
    for (bool careless : {false, true}) {
        Fail(-1, careless);
        EXPECT_EQ(Head(14, "FF FF") + Hex("00"), Reply(14));
    }
}

TEST_F(FunctionWirelessTest, SettingAnSsidSwitchTakesIndexThenByte)
{
    EXPECT_EQ(Head(15), Reply(15, Hex("03 01 01")));
    EXPECT_EQ(Head(15), Reply(15, Hex("03")));
    EXPECT_EQ(Head(15), Reply(15));
    gSdk.result = 0x1234;
    EXPECT_EQ(Head(15, "34 12"), Reply(15, Hex("FF FF FF")));
    EXPECT_EQ(Calls({"set_ssid_switch(259, 1)", "set_ssid_switch(3, 0)", "set_ssid_switch(0, 0)",
                     "set_ssid_switch(65535, 255)"}),
              gSdk.calls);
}

// ---- 16: one SSID ----

TEST_F(FunctionWirelessTest, AnSsidIsItsRecordAndItsChannelIsLogged)
{
    gSdk.ssid = SampleSsid();
    const Bytes reply = Reply(16, Hex("05 00"));
    EXPECT_EQ(126u, reply.size());
    EXPECT_EQ(Head(16) + SampleSsidOnTheWire(), reply);
    EXPECT_EQ(Calls({"get_ssid_cfg(5)"}), gSdk.calls);
    EXPECT_NE(std::string::npos, Log().find("ssid channel 149\n"));
}

TEST_F(FunctionWirelessTest, SsidTextsWithoutATerminatorPassUnchanged)
{
    memset(&gSdk.ssid, 'x', sizeof gSdk.ssid);
    EXPECT_EQ(Head(16) + Bytes(120, 'x'), Reply(16));
}

TEST_F(FunctionWirelessTest, AnSsidThatDoesNotExistIsZeros)
{
    gSdk.ssid = SampleSsid();
    for (bool careless : {false, true}) {
        Fail(-9, careless);
        EXPECT_EQ(Head(16, "F7 FF") + Bytes(120, 0), Reply(16));
    }
    EXPECT_EQ(Calls({"get_ssid_cfg(0)", "get_ssid_cfg(0)"}), gSdk.calls);
}

// ---- 17: setting one SSID ----

TEST_F(FunctionWirelessTest, AnSsidToSetReachesTheRouterInItsOwnByteOrder)
{
    EXPECT_EQ(Head(17), Reply(17, SampleSsidOnTheWire()));
    EXPECT_EQ(Calls({Noted(SampleSsid())}), gSdk.calls);
}

TEST_F(FunctionWirelessTest, TextsOfAnSsidToSetPassUnchangedWithoutATerminator)
{
    Reply(17, Bytes(120, 'x'));
    SsidCfg expected;
    memset(&expected, 'x', sizeof expected);
    expected.ip = Ip('x', 'x', 'x', 'x');
    EXPECT_EQ(Calls({Noted(expected)}), gSdk.calls);
}

TEST_F(FunctionWirelessTest, TheLongestSsidAndKeyPassWhole)
{
    SsidCfg longest = SampleSsid();
    strcpy(longest.ssid, std::string(32, 's').c_str());
    strcpy(longest.key, std::string(64, 'k').c_str());
    Bytes record = SampleSsidOnTheWire();
    memset(&record[2], 's', 32);
    memset(&record[35], 'k', 64);
    Reply(17, record);
    EXPECT_EQ(Calls({Noted(longest)}), gSdk.calls);
}

TEST_F(FunctionWirelessTest, MissingBytesOfAnSsidAreZero)
{
    Reply(17);
    Reply(17, Hex("02 00") + Text("Ho"));
    SsidCfg begun = {};
    begun.index = 2;
    strcpy(begun.ssid, "Ho");
    EXPECT_EQ(Calls({Noted(SsidCfg()), Noted(begun)}), gSdk.calls);
}

TEST_F(FunctionWirelessTest, TheRoutersResultForAnSsidIsTheStatus)
{
    gSdk.result = -300;
    EXPECT_EQ(Head(17, "D4 FE"), Reply(17, SampleSsidOnTheWire()));
}

// ---- 42: neighbours ----

TEST_F(FunctionWirelessTest, NeighboursAreTheirRecordsAndNoCount)
{
    AdjWifi second = {};
    second.rssi = -1;
    gSdk.neighbours = {SampleNeighbour(), second};
    EXPECT_EQ(Head(42) + SampleNeighbourOnTheWire() + Bytes(60, 0) + Hex("FF FF FF FF") + Bytes(10, 0), Reply(42));
    EXPECT_EQ(Calls({"get_adj_wifi_devs"}), gSdk.calls);
}

TEST_F(FunctionWirelessTest, WithoutNeighboursThereIsTheStatusAlone)
{
    EXPECT_EQ(Head(42), Reply(42));
}

TEST_F(FunctionWirelessTest, AReplyHasAtMost30Neighbours)
{
    gSdk.neighbours.assign(30, SampleNeighbour());
    const Bytes thirty = Head(42) + Repeated(SampleNeighbourOnTheWire(), 30);
    EXPECT_EQ(2226u, thirty.size());
    EXPECT_EQ(thirty, Reply(42));
    for (size_t count : {31, 111, 65535}) {
        gSdk.numbers["get_adj_wifi_devs"] = count;
        EXPECT_EQ(thirty, Reply(42)) << count;
    }
}

TEST_F(FunctionWirelessTest, AFailedScanHasNoRecords)
{
    gSdk.neighbours.assign(3, SampleNeighbour());
    for (bool careless : {false, true}) {
        Fail(-1, careless);
        EXPECT_EQ(Head(42, "FF FF"), Reply(42));
    }
}
