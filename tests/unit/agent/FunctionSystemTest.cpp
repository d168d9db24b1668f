// Functions 44 to 60: the router as a whole.
#include "tests/unit/agent/FunctionTest.h"

typedef FunctionTest FunctionSystemTest;

// ---- 44 and 45: DNS ----

TEST_F(FunctionSystemTest, DnsServersTravelWithTheirOctetsReversed)
{
    gSdk.dns[0] = Ip(1, 2, 3, 4);
    gSdk.dns[1] = Ip(250, 251, 252, 253);
    EXPECT_EQ(Head(44) + Hex("04 03 02 01  FD FC FB FA"), Reply(44));
    EXPECT_EQ(Calls({"get_dns"}), gSdk.calls);
}

TEST_F(FunctionSystemTest, DnsServersThatCannotBeReadAreZero)
{
    gSdk.dns[0] = gSdk.dns[1] = Ip(1, 2, 3, 4);
    for (bool careless : {false, true}) {
        Fail(-1, careless);
        EXPECT_EQ(Head(44, "FF FF") + Bytes(8, 0), Reply(44));
    }
}

TEST_F(FunctionSystemTest, SettingDnsTakesPrimaryThenSecondary)
{
    EXPECT_EQ(Head(45), Reply(45, Hex("04 03 02 01  FD FC FB FA")));
    EXPECT_EQ(Head(45), Reply(45, Hex("04 03 02 01  FD"))); // what was not sent is zero
    EXPECT_EQ(Head(45), Reply(45));
    gSdk.result = -2;
    EXPECT_EQ(Head(45, "FE FF"), Reply(45, Bytes(8, 0xFF)));
    EXPECT_EQ(Calls({"set_dns(1.2.3.4, 250.251.252.253)", "set_dns(1.2.3.4, 0.0.0.253)", "set_dns(0.0.0.0, 0.0.0.0)",
                     "set_dns(255.255.255.255, 255.255.255.255)"}),
              gSdk.calls);
}

// ---- Texts: 46, 56, 57, 59 ----

class TextSettingTest : public FunctionTest, public testing::WithParamInterface<SharedRow>
{
  protected:
    // What the router is called with for these parameters.
    std::string Called(const Bytes &text, const std::string &status = "00 00")
    {
        gSdk.calls.clear();
        EXPECT_EQ(Head(GetParam().id, status), Reply(GetParam().id, Bytes(GetParam().from, 'X') + text));
        EXPECT_EQ(1u, gSdk.calls.size());
        return gSdk.calls.empty() ? "" : gSdk.calls[0];
    }

    std::string With(const std::string &text) { return CallText(GetParam().call, text.c_str()); }
};

TEST_P(TextSettingTest, TakesTheTextUpToItsNul)
{
    EXPECT_EQ(With("some text"), Called(Text("some text") + Hex("00") + Text("more")));
    EXPECT_EQ(With(""), Called(Hex("00") + Text("more")));
}

TEST_P(TextSettingTest, TakesTheTextUpToTheEndOfTheRequest)
{
    EXPECT_EQ(With("http://a/?b=1"), Called(Text("http://a/?b=1")));
    EXPECT_EQ(With(""), Called({}));
    const std::string longest(1500 - GetParam().from, 't');
    EXPECT_EQ(With(longest), Called(Text(longest)));
}

TEST_P(TextSettingTest, ATextThatFillsTheRequestEndsAtItsLastByte)
{
    const size_t longest = 1600 - 1 - 10 - GetParam().from;
    EXPECT_EQ(With(std::string(longest, 't')), Called(Bytes(longest, 't')));
}

TEST_P(TextSettingTest, PassesAnyBytesOn)
{
    EXPECT_EQ(With("\xC3\xA4\xFF\x01%s"), Called(Hex("C3 A4 FF 01") + Text("%s")));
}

TEST_P(TextSettingTest, AnswersTheRoutersResult)
{
    gSdk.result = -5;
    EXPECT_EQ(With("x"), Called(Text("x"), "FB FF"));
}

static const SharedRow kTextSettings[] = {
    {46, "set_name"}, {56, "set_redirection"}, {57, "update_rom_version", "", 1}, {59, "set_http_test_url"}};
INSTANTIATE_TEST_SUITE_P(All, TextSettingTest, testing::ValuesIn(kTextSettings), NameOfRow);

TEST_F(FunctionSystemTest, AFirmwareUpdateSkipsOneByteBeforeItsText)
{
    EXPECT_EQ(Head(57), Reply(57, Text("Xurl")));
    EXPECT_EQ(Head(57), Reply(57, Text("X")));
    EXPECT_EQ(Head(57), Reply(57, Hex("00") + Text("url"))); // the first byte is ignored
    EXPECT_EQ(Calls({"update_rom_version(\"url\")", "update_rom_version(\"\")", "update_rom_version(\"url\")"}),
              gSdk.calls);
}

// ---- 47 and 48: use of processor and memory ----

TEST_F(FunctionSystemTest, UseOfProcessorAndMemoryAlwaysHasStatusZero)
{
    gSdk.numbers = {{"get_cpu_use", 99}, {"get_mem_use", 0x0102}};
    EXPECT_EQ(Head(47) + Hex("63 00"), Reply(47));
    EXPECT_EQ(Head(48) + Hex("02 01"), Reply(48));
    EXPECT_EQ(Calls({"get_cpu_use", "get_mem_use"}), gSdk.calls);
    for (bool careless : {false, true}) {
        Fail(-1, careless);
        EXPECT_EQ(Head(47) + Hex("00 00"), Reply(47));
        EXPECT_EQ(Head(48) + Hex("00 00"), Reply(48));
    }
}

// ---- 50: full load ----

TEST_F(FunctionSystemTest, FullLoadTakesSelectorThenByte)
{
    EXPECT_EQ(Head(50), Reply(50, Hex("02 01 01")));
    EXPECT_EQ(Head(50), Reply(50, Hex("02 01"))); // what was not sent is off
    EXPECT_EQ(Head(50), Reply(50));
    gSdk.result = -1;
    EXPECT_EQ(Head(50, "FF FF"), Reply(50, Hex("FF FF FF")));
    EXPECT_EQ(Calls({"set_full_load_enable(258, 1)", "set_full_load_enable(258, 0)", "set_full_load_enable(0, 0)",
                     "set_full_load_enable(65535, 255)"}),
              gSdk.calls);
}

// ---- 53 and 54: time ----

TEST_F(FunctionSystemTest, SettingTheTimeTakesSixtyFourBitsLittleEndian)
{
    EXPECT_EQ(Head(53), Reply(53, Hex("08 07 06 05 04 03 02 01")));
    EXPECT_EQ(Head(53), Reply(53, Hex("00 F1 53 65"))); // what was not sent is zero
    EXPECT_EQ(Head(53), Reply(53));
    gSdk.result = -1;
    EXPECT_EQ(Head(53, "FF FF"), Reply(53, Bytes(8, 0xFF)));
    EXPECT_EQ(Calls({"sync_time(72623859790382856)", "sync_time(1700000000)", "sync_time(0)",
                     "sync_time(18446744073709551615)"}),
              gSdk.calls);
}

TEST_F(FunctionSystemTest, UpTimeIsSixtyFourBitsLittleEndian)
{
    gSdk.numbers["get_duration_time"] = 0x0102030405060708;
    EXPECT_EQ(Head(54) + Hex("08 07 06 05 04 03 02 01"), Reply(54));
    EXPECT_EQ(Calls({"get_duration_time"}), gSdk.calls);
    for (bool careless : {false, true}) {
        Fail(-1, careless);
        EXPECT_EQ(Head(54, "FF FF") + Bytes(8, 0), Reply(54));
    }
}

// ---- 55: restart ----

TEST_F(FunctionSystemTest, ARestartIsAlwaysAnsweredWithZero)
{
    EXPECT_EQ(Head(55), Reply(55));
    gSdk.result = -1;
    EXPECT_EQ(Head(55), Reply(55));
    EXPECT_EQ(Calls({"restart", "restart"}), gSdk.calls);
}

// ---- 58: rates ----

TEST_F(FunctionSystemTest, RatesAreDownThenUp)
{
    gSdk.numbers = {{"get_flows_down_rate", 0x0102030405060708}, {"get_flows_up_rate", 9}};
    EXPECT_EQ(Head(58) + Hex("08 07 06 05 04 03 02 01  09 00 00 00 00 00 00 00"), Reply(58));
    EXPECT_EQ(Calls({"get_flows_down_rate", "get_flows_up_rate"}), gSdk.calls);
}

TEST_F(FunctionSystemTest, ARateThatCannotBeReadIsZeroAndTheFirstFailureIsTheStatus)
{
    gSdk.numbers = {{"get_flows_down_rate", 8}, {"get_flows_up_rate", 9}};
    const Bytes eight = Hex("08 00 00 00 00 00 00 00"), nine = Hex("09 00 00 00 00 00 00 00"), zero = Bytes(8, 0);
    for (bool careless : {false, true}) {
        gSdk.careless = careless;
        gSdk.results = {{"get_flows_down_rate", -1}};
        EXPECT_EQ(Head(58, "FF FF") + zero + nine, Reply(58));
        gSdk.results = {{"get_flows_up_rate", -2}};
        EXPECT_EQ(Head(58, "FE FF") + eight + zero, Reply(58));
        gSdk.results = {{"get_flows_up_rate", -2}, {"get_flows_down_rate", -1}};
        EXPECT_EQ(Head(58, "FF FF") + zero + zero, Reply(58));
    }
    EXPECT_EQ(12u, gSdk.calls.size());
}

// ---- 60: PIN ----

TEST_F(FunctionSystemTest, ThePinIsTwelveCharactersWithOrWithoutATerminator)
{
    gSdk.texts["get_router_pin"] = "12345678";
    EXPECT_EQ(Head(60) + Text("12345678") + Bytes(4, 0), Reply(60));
    gSdk.texts["get_router_pin"] = "ABCDEFGHIJKL";
    EXPECT_EQ(Head(60) + Text("ABCDEFGHIJKL"), Reply(60));
    EXPECT_EQ(Calls({"get_router_pin", "get_router_pin"}), gSdk.calls);
    for (bool careless : {false, true}) {
        Fail(-1, careless);
        EXPECT_EQ(Head(60, "FF FF") + Bytes(12, 0), Reply(60));
    }
}
