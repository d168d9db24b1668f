// Functions 10, 11, 12 and 49: the router's own network, its ports and links.
#include <cstring>

#include "tests/unit/agent/FunctionTest.h"

typedef FunctionTest FunctionLanTest;

// ---- 10: configuration ----

TEST_F(FunctionLanTest, TheLanIsItsMacAndTwoReversedAddresses)
{
    memcpy(gSdk.lan.mac, Hex("02 01 03 04 05 06").data(), 6);
    gSdk.lan.ip = Ip(192, 168, 1, 254);
    gSdk.lan.netmask = Ip(255, 255, 255, 128);
    const Bytes reply = Reply(10);
    EXPECT_EQ(20u, reply.size());
    EXPECT_EQ(Head(10) + Hex("02 01 03 04 05 06  FE 01 A8 C0  80 FF FF FF"), reply);
    EXPECT_EQ(Calls({"get_lan_cfg"}), gSdk.calls);
}

TEST_F(FunctionLanTest, ALanThatCannotBeReadIsZeros)
{
    memset(&gSdk.lan, 0x77, sizeof gSdk.lan);
    for (bool careless : {false, true}) {
        Fail(-2, careless);
        EXPECT_EQ(Head(10, "FE FF") + Bytes(14, 0), Reply(10));
    }
}

// ---- 11: number of ports ----

TEST_F(FunctionLanTest, TheNumberOfPortsHasStatusZeroWhateverTheRouterAnswers)
{
    gSdk.numbers["get_lan_num"] = 0x0104;
    EXPECT_EQ(Head(11) + Hex("04 01"), Reply(11));
    EXPECT_EQ(Calls({"get_lan_num"}), gSdk.calls);
    for (bool careless : {false, true}) {
        Fail(-1, careless);
        EXPECT_EQ(Head(11) + Hex("00 00"), Reply(11));
    }
}

// ---- 12: traffic ----

TEST_F(FunctionLanTest, TrafficIsTheNumberOfPortsThenUpAndDownOfEach)
{
    gSdk.numbers = {{"get_lan_num", 2},
                    {"get_lan_port_up_flow(0)", 0x0102030405060708},
                    {"get_lan_port_down_flow(0)", 1},
                    {"get_lan_port_up_flow(1)", 2},
                    {"get_lan_port_down_flow(1)", 0xFFFFFFFFFFFFFFFF}};
    EXPECT_EQ(Head(12) + Hex("02 00") + Hex("08 07 06 05 04 03 02 01  01 00 00 00 00 00 00 00") +
                  Hex("02 00 00 00 00 00 00 00  FF FF FF FF FF FF FF FF"),
              Reply(12));
    EXPECT_EQ(Calls({"get_lan_num", "get_lan_port_up_flow(0)", "get_lan_port_down_flow(0)", "get_lan_port_up_flow(1)",
                     "get_lan_port_down_flow(1)"}),
              gSdk.calls);
}

TEST_F(FunctionLanTest, WithoutPortsTrafficIsOnlyTheCountOfZero)
{
    EXPECT_EQ(Head(12) + Hex("00 00"), Reply(12));
    EXPECT_EQ(Calls({"get_lan_num"}), gSdk.calls);
}

TEST_F(FunctionLanTest, AReplyHasAtMost16Ports)
{
    gSdk.numbers = {{"get_lan_port_up_flow", 5}, {"get_lan_port_down_flow", 6}};
    const Bytes port = Hex("05 00 00 00 00 00 00 00  06 00 00 00 00 00 00 00");
    for (size_t count : {16, 17, 255, 65535}) {
        gSdk.numbers["get_lan_num"] = count;
        gSdk.calls.clear();
        EXPECT_EQ(Head(12) + Hex("10 00") + Repeated(port, 16), Reply(12)) << count;
        EXPECT_EQ(33u, gSdk.calls.size());
    }
}

TEST_F(FunctionLanTest, APortWhoseCallFailsHasZerosAndTheOthersTheirCounters)
{
    gSdk.numbers = {{"get_lan_num", 3}, {"get_lan_port_up_flow", 5}, {"get_lan_port_down_flow", 6}};
    gSdk.results = {{"get_lan_port_down_flow(1)", -5}, {"get_lan_port_up_flow(2)", -6}};
    const Bytes five = Hex("05 00 00 00 00 00 00 00"), six = Hex("06 00 00 00 00 00 00 00"), zero = Bytes(8, 0);
    for (bool careless : {false, true}) {
        gSdk.careless = careless;
        gSdk.calls.clear();
        EXPECT_EQ(Head(12, "FB FF") + Hex("03 00") + five + six + five + zero + zero + six, Reply(12));
        EXPECT_EQ(7u, gSdk.calls.size()); // a failure keeps nothing from being asked
    }
}

TEST_F(FunctionLanTest, WhenTheNumberOfPortsFailsThereIsNoTraffic)
{
    gSdk.numbers = {{"get_lan_num", 3}, {"get_lan_port_up_flow", 5}};
    for (bool careless : {false, true}) {
        Fail(-7, careless);
        gSdk.calls.clear();
        EXPECT_EQ(Head(12, "F9 FF") + Hex("00 00"), Reply(12));
        EXPECT_EQ(Calls({"get_lan_num"}), gSdk.calls);
    }
}

// ---- 49: links ----

TEST_F(FunctionLanTest, LinksAreTwoCountedListsAndFourModules)
{
    gSdk.numbers = {{"get_lan_num", 4},
                    {"get_wan_num", 2},
                    {"get_wifi_module_status(0)", 1},
                    {"get_wifi_module_status(2)", 0x55},
                    {"get_wifi_module_status(3)", 0xFF}};
    gSdk.lanStatus = Hex("01 00 01 81");
    gSdk.wanStatus = Hex("01 7F");
    EXPECT_EQ(Head(49) + Hex("04 00  01 00 01 81  02 00  01 7F  01 00 55 FF"), Reply(49));
    EXPECT_EQ(
        Calls({"get_lan_num", "get_lan_con_status", "get_wan_num", "get_wan_con_status", "get_wifi_module_status(0)",
               "get_wifi_module_status(1)", "get_wifi_module_status(2)", "get_wifi_module_status(3)"}),
        gSdk.calls);
}

TEST_F(FunctionLanTest, ARouterWithoutPortsHasTwoEmptyListsAndFourModules)
{
    gSdk.lanStatus = Bytes(16, 9); // filled in all the same
    gSdk.wanStatus = Bytes(16, 9);
    EXPECT_EQ(Head(49) + Hex("00 00  00 00  00 00 00 00"), Reply(49));
}

TEST_F(FunctionLanTest, AReplyHasAtMost16LinksOfAKind)
{
    gSdk.lanStatus = Bytes(16, 1);
    gSdk.wanStatus = Bytes(16, 2);
    for (size_t count : {16, 17, 65535}) {
        gSdk.numbers = {{"get_lan_num", count}, {"get_wan_num", count}};
        const Bytes expected =
            Head(49) + Hex("10 00") + Bytes(16, 1) + Hex("10 00") + Bytes(16, 2) + Hex("00 00 00 00");
        EXPECT_EQ(expected, Reply(49)) << count;
    }
}

TEST_F(FunctionLanTest, AllLinkCallsAreMadeAndTheFirstFailureIsTheStatus)
{
    gSdk.numbers = {{"get_lan_num", 2}, {"get_wan_num", 1}, {"get_wifi_module_status", 1}};
    gSdk.lanStatus = Hex("01 01");
    gSdk.wanStatus = Hex("01");
    const struct {
        std::map<std::string, int> results;
        const char *expected;
    } cases[] = {
        {{{"get_lan_num", -1}}, "FF FF  00 00  01 00 01  01 01 01 01"},
        {{{"get_lan_con_status", -2}}, "FE FF  02 00 00 00  01 00 01  01 01 01 01"},
        {{{"get_wan_num", -3}}, "FD FF  02 00 01 01  00 00  01 01 01 01"},
        {{{"get_wan_con_status", -4}}, "FC FF  02 00 01 01  01 00 00  01 01 01 01"},
        {{{"get_wifi_module_status(1)", -5}}, "FB FF  02 00 01 01  01 00 01  01 00 01 01"},
        {{{"get_wifi_module_status(3)", -6}, {"get_wan_con_status", -4}}, "FC FF  02 00 01 01  01 00 00  01 01 01 00"},
    };
    for (const auto &sample : cases) {
        for (bool careless : {false, true}) {
            gSdk.careless = careless;
            gSdk.results = sample.results;
            gSdk.calls.clear();
            EXPECT_EQ(Bytes({0xA5, 0x5A, 49, 0}) + Hex(sample.expected), Reply(49)) << sample.expected;
            EXPECT_EQ(8u, gSdk.calls.size());
        }
    }
}
