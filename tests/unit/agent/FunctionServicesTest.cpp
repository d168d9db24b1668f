// Functions 18 to 31: switches, reserved slots, services and their accounts.
#include "tests/unit/agent/FunctionTest.h"

typedef FunctionTest FunctionServicesTest;

// ---- One switch: 18, 22, 30 and 19, 23, 31 ----

class SwitchQueryTest : public FunctionTest, public testing::WithParamInterface<SharedRow>
{
};

TEST_P(SwitchQueryTest, IsSevenBytesWithTheRoutersByteUnchanged)
{
    for (int value : {0, 1, 2, 255}) {
        gSdk.numbers[GetParam().call] = static_cast<uint64_t>(value);
        EXPECT_EQ(Head(GetParam().id) + Bytes{static_cast<uint8_t>(value)}, Reply(GetParam().id));
    }
    EXPECT_EQ(Calls(4, GetParam().call), gSdk.calls);
}

TEST_P(SwitchQueryTest, AFailureIsAnsweredWithTheRoutersResultAndZero)
{
    gSdk.numbers[GetParam().call] = 1;
    for (bool careless : {false, true}) {
        Fail(0x7FFF8001, careless);
        EXPECT_EQ(Head(GetParam().id, "01 80") + Hex("00"), Reply(GetParam().id));
    }
}

static const SharedRow kSwitchQueries[] = {
    {18, "get_wifi_radio_switch"}, {22, "get_led_switch"}, {30, "get_wps_switch"}};
INSTANTIATE_TEST_SUITE_P(All, SwitchQueryTest, testing::ValuesIn(kSwitchQueries), NameOfRow);

class SwitchSettingTest : public FunctionTest, public testing::WithParamInterface<SharedRow>
{
};

TEST_P(SwitchSettingTest, PassesTheByteOnAndAnswersTheRoutersResult)
{
    const uint16_t id = GetParam().id;
    const std::string call = GetParam().call;
    EXPECT_EQ(Head(id), Reply(id, Hex("01")));
    EXPECT_EQ(Head(id), Reply(id, Hex("FF 01 01")));
    EXPECT_EQ(Head(id), Reply(id)); // not sent: off
    gSdk.result = -2;
    EXPECT_EQ(Head(id, "FE FF"), Reply(id, Hex("00")));
    EXPECT_EQ(Calls({call + "(1)", call + "(255)", call + "(0)", call + "(0)"}), gSdk.calls);
}

static const SharedRow kSwitchSettings[] = {
    {19, "set_wifi_radio_switch"}, {23, "set_led_switch"}, {31, "set_wps_switch"}};
INSTANTIATE_TEST_SUITE_P(All, SwitchSettingTest, testing::ValuesIn(kSwitchSettings), NameOfRow);

// ---- Reserved: 20, 21, 24, 25 ----

TEST_F(FunctionServicesTest, AReservedQueryAnswersTwentyZerosAndAOne)
{
    gSdk.result = -1;
    for (uint16_t id : {20, 24}) {
        const Bytes reply = Reply(id, Bytes(100, 0xFF));
        EXPECT_EQ(27u, reply.size());
        EXPECT_EQ(Head(id) + Bytes(20, 0) + Hex("01"), reply);
    }
    EXPECT_EQ(Calls(), gSdk.calls);
}

TEST_F(FunctionServicesTest, AReservedSettingDoesNothingAndAnswersZero)
{
    gSdk.result = -1;
    for (uint16_t id : {21, 25}) EXPECT_EQ(Head(id), Reply(id, Bytes(100, 0xFF)));
    EXPECT_EQ(Calls(), gSdk.calls);
}

// ---- Service switches: 26, 27 ----

static const Calls kServiceQueries = {"get_ftp_switch", "get_sambaenable_switch", "get_telnetenable_switch"};

TEST_F(FunctionServicesTest, ServicesAreFtpSambaTelnet)
{
    gSdk.numbers = {{"get_ftp_switch", 1}, {"get_sambaenable_switch", 2}, {"get_telnetenable_switch", 255}};
    EXPECT_EQ(Head(26) + Hex("01 02 FF"), Reply(26));
    EXPECT_EQ(kServiceQueries, gSdk.calls);
}

TEST_F(FunctionServicesTest, AServiceThatCannotBeReadIsZeroAndTheFirstFailureIsTheStatus)
{
    gSdk.numbers = {{"get_ftp_switch", 1}, {"get_sambaenable_switch", 1}, {"get_telnetenable_switch", 1}};
    const struct {
        std::map<std::string, int> results;
        const char *status, *switches;
    } cases[] = {
        {{{"get_ftp_switch", -1}}, "FF FF", "00 01 01"},
        {{{"get_sambaenable_switch", -2}}, "FE FF", "01 00 01"},
        {{{"get_telnetenable_switch", -3}}, "FD FF", "01 01 00"},
        {{{"get_telnetenable_switch", -3}, {"get_sambaenable_switch", -2}}, "FE FF", "01 00 00"},
    };
    for (const auto &sample : cases) {
        for (bool careless : {false, true}) {
            gSdk.careless = careless;
            gSdk.results = sample.results;
            gSdk.calls.clear();
            EXPECT_EQ(Head(26, sample.status) + Hex(sample.switches), Reply(26));
            EXPECT_EQ(kServiceQueries, gSdk.calls);
        }
    }
}

TEST_F(FunctionServicesTest, SettingServicesTakesFtpSambaTelnetAndAlwaysAnswersZero)
{
    EXPECT_EQ(Head(27), Reply(27, Hex("01 02 FF")));
    gSdk.result = -1;
    EXPECT_EQ(Head(27), Reply(27, Hex("01"))); // what was not sent is off
    EXPECT_EQ(Calls({"set_ftp_switch(1)", "set_sambaenable_switch(2)", "set_telnetenable_switch(255)",
                     "set_ftp_switch(1)", "set_sambaenable_switch(0)", "set_telnetenable_switch(0)"}),
              gSdk.calls);
}

// ---- Accounts: 28, 29 ----

static const Calls kAccounts = {"ftp_user",       "ftp_password", "samba_user",
                                "samba_password", "telnet_user",  "telnet_password"};

static Calls AccountCalls(const std::string &verb)
{
    Calls calls;
    for (const std::string &account : kAccounts) calls.push_back(verb + account);
    return calls;
}

TEST_F(FunctionServicesTest, AccountsAreSixFieldsOfSixteen)
{
    gSdk.texts = {{"get_ftp_user", "fu"},       {"get_ftp_password", "fp"}, {"get_samba_user", "su"},
                  {"get_samba_password", "sp"}, {"get_telnet_user", "tu"},  {"get_telnet_password", "tp"}};
    const Bytes reply = Reply(28);
    EXPECT_EQ(102u, reply.size());
    EXPECT_EQ(Head(28) + Field("fu", 16) + Field("fp", 16) + Field("su", 16) + Field("sp", 16) + Field("tu", 16) +
                  Field("tp", 16),
              reply);
    EXPECT_EQ(AccountCalls("get_"), gSdk.calls);
}

TEST_F(FunctionServicesTest, AccountTextsThatFillTheirFieldsNeedNoTerminator)
{
    for (const std::string &call : AccountCalls("get_")) gSdk.texts[call] = std::string(16, 'a');
    EXPECT_EQ(Head(28) + Bytes(96, 'a'), Reply(28));
}

TEST_F(FunctionServicesTest, AnAccountTextThatCannotBeReadIsZerosAndTheFirstFailureIsTheStatus)
{
    const Calls queries = AccountCalls("get_");
    for (const std::string &call : queries) gSdk.texts[call] = std::string(16, 'a');
    for (size_t failing = 0; failing < 6; failing++) {
        for (bool careless : {false, true}) {
            gSdk.careless = careless;
            gSdk.results = {{queries[failing], -1}, {queries[5], failing == 5 ? -1 : -2}};
            gSdk.calls.clear();
            const Bytes lost = Bytes(16, 0), told = Bytes(16, 'a');
            Bytes expected = Head(28, "FF FF");
            for (size_t i = 0; i < 6; i++) expected = expected + (i == failing || i == 5 ? lost : told);
            EXPECT_EQ(expected, Reply(28)) << queries[failing];
            EXPECT_EQ(queries, gSdk.calls);
        }
    }
}

TEST_F(FunctionServicesTest, SettingAccountsTakesSixFieldsAndAlwaysAnswersZero)
{
    const Bytes fields =
        Field("fu", 16) + Field("fp", 16) + Field("su", 16) + Field("sp", 16) + Field("tu", 16) + Field("tp", 16);
    const Calls expected = {"set_ftp_user(\"fu\")",       "set_ftp_password(\"fp\")", "set_samba_user(\"su\")",
                            "set_samba_password(\"sp\")", "set_telnet_user(\"tu\")",  "set_telnet_password(\"tp\")"};
    for (int result : {0, -1}) {
        gSdk.result = result;
        gSdk.calls.clear();
        EXPECT_EQ(Head(29), Reply(29, fields));
        EXPECT_EQ(expected, gSdk.calls);
    }
}

TEST_F(FunctionServicesTest, AnAccountTextOf16CharactersIsPassedOnWholeWithoutTheNextField)
{
    Bytes fields;
    Calls expected;
    char letter = 'a';
    for (const std::string &call : AccountCalls("set_")) {
        fields = fields + Bytes(16, static_cast<uint8_t>(letter));
        expected.push_back(call + "(\"" + std::string(16, letter++) + "\")");
    }
    Reply(29, fields + Bytes(50, 'z'));
    EXPECT_EQ(expected, gSdk.calls);
}

TEST_F(FunctionServicesTest, AccountsThatWereNotSentAreEmpty)
{
    Reply(29, Text("abc"));
    EXPECT_EQ(Calls({"set_ftp_user(\"abc\")", "set_ftp_password(\"\")", "set_samba_user(\"\")",
                     "set_samba_password(\"\")", "set_telnet_user(\"\")", "set_telnet_password(\"\")"}),
              gSdk.calls);
}
