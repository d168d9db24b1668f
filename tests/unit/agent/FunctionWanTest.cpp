// Functions 3 to 7: the connections to the provider.
#include "tests/unit/agent/FunctionTest.h"

typedef FunctionTest FunctionWanTest;

// ---- 3: one WAN ----

TEST_F(FunctionWanTest, AWanIsItsRecordWithTheOctetsOfAddressesReversed)
{
    gSdk.wan = SampleWan();
    const Bytes reply = Reply(3, Hex("01 02"));
    EXPECT_EQ(234u, reply.size());
    EXPECT_EQ(Head(3) + SampleWanOnTheWire(), reply);
    EXPECT_EQ(Calls({"get_wan_cfg(513)"}), gSdk.calls);
}

TEST_F(FunctionWanTest, WanTextsWithoutATerminatorPassUnchanged)
{
    memset(&gSdk.wan, 'x', sizeof gSdk.wan);
    EXPECT_EQ(Head(3) + Bytes(228, 'x'), Reply(3));
}

TEST_F(FunctionWanTest, AWanThatDoesNotExistIsZeros)
{
    for (bool careless : {false, true}) {
        Fail(-3, careless);
        gSdk.wan = SampleWan();
        EXPECT_EQ(Head(3, "FD FF") + Bytes(228, 0), Reply(3, Hex("08 00")));
    }
}

TEST_F(FunctionWanTest, WithoutAnIndexTheFirstWanIsRead)
{
    for (uint16_t id : {3, 5, 6, 7}) Reply(id);
    EXPECT_EQ(Calls({"get_wan_cfg(0)", "get_wan_tcp_con_num(0)", "get_wan_udp_con_num(0)", "get_wan_receive_bytes(0)"}),
              gSdk.calls);
}

TEST_F(FunctionWanTest, TheMissingSecondByteOfAnIndexIsZero)
{
    for (uint16_t id : {3, 5, 6, 7}) Reply(id, Hex("07"));
    EXPECT_EQ(Calls({"get_wan_cfg(7)", "get_wan_tcp_con_num(7)", "get_wan_udp_con_num(7)", "get_wan_receive_bytes(7)"}),
              gSdk.calls);
}

// ---- 4: all of them ----

TEST_F(FunctionWanTest, AllWansAreTheirRecordsAndNoCount)
{
    WanCfg second = {};
    second.index = 1;
    second.ip = Ip(10, 0, 0, 1);
    gSdk.wans = {SampleWan(), second};
    const Bytes secondOnTheWire = Hex("01 00") + Bytes(203, 0) + Hex("01 00 00 0A") + Bytes(19, 0);
    EXPECT_EQ(Head(4) + SampleWanOnTheWire() + secondOnTheWire, Reply(4));
    EXPECT_EQ(Calls({"get_wans_cfg"}), gSdk.calls);
}

TEST_F(FunctionWanTest, WithoutWansThereIsTheStatusAlone)
{
    EXPECT_EQ(Head(4), Reply(4));
}

TEST_F(FunctionWanTest, AReplyHasAtMost8Wans)
{
    gSdk.wans.assign(8, SampleWan());
    const Bytes eight = Head(4) + Repeated(SampleWanOnTheWire(), 8);
    EXPECT_EQ(eight, Reply(4));
    for (size_t count : {9, 36, 65535}) {
        gSdk.numbers["get_wans_cfg"] = count;
        EXPECT_EQ(eight, Reply(4)) << count;
    }
}

TEST_F(FunctionWanTest, AFailedListOfWansHasNoRecords)
{
    gSdk.wans.assign(3, SampleWan());
    for (bool careless : {false, true}) {
        Fail(0x00010203, careless);
        EXPECT_EQ(Head(4, "03 02"), Reply(4));
    }
}

// ---- 5, 6, 7: counters ----

TEST_F(FunctionWanTest, ConnectionCountsAreThirtyTwoBitsLittleEndian)
{
    gSdk.numbers = {{"get_wan_tcp_con_num(2)", 0x01020304}, {"get_wan_udp_con_num(3)", 0xFFFFFFFE}};
    EXPECT_EQ(Head(5) + Hex("04 03 02 01"), Reply(5, Hex("02 00")));
    EXPECT_EQ(Head(6) + Hex("FE FF FF FF"), Reply(6, Hex("03 00")));
    EXPECT_EQ(Calls({"get_wan_tcp_con_num(2)", "get_wan_udp_con_num(3)"}), gSdk.calls);
}

TEST_F(FunctionWanTest, ReceivedBytesAreSixtyFourBitsLittleEndian)
{
    gSdk.numbers["get_wan_receive_bytes(65535)"] = 0x0102030405060708;
    EXPECT_EQ(Head(7) + Hex("08 07 06 05 04 03 02 01"), Reply(7, Hex("FF FF")));
    EXPECT_EQ(Calls({"get_wan_receive_bytes(65535)"}), gSdk.calls);
}

TEST_F(FunctionWanTest, ACounterThatCannotBeReadIsZero)
{
    gSdk.numbers = {{"get_wan_tcp_con_num", 1}, {"get_wan_udp_con_num", 2}, {"get_wan_receive_bytes", 3}};
    for (bool careless : {false, true}) {
        Fail(-1, careless);
        EXPECT_EQ(Head(5, "FF FF") + Bytes(4, 0), Reply(5));
        EXPECT_EQ(Head(6, "FF FF") + Bytes(4, 0), Reply(6));
        EXPECT_EQ(Head(7, "FF FF") + Bytes(8, 0), Reply(7));
    }
}
