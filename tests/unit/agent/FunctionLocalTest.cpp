// Functions 66, 69 to 80, 82, 83, 85, 87 and 88, which rules and the local peer carry out.
#include <cstring>

#include "tests/unit/agent/FeatureSpy.h"
#include "tests/unit/agent/FunctionTest.h"

class FunctionLocalTest : public FunctionTest
{
  protected:
    FeatureSpy spy;
};

// ---- Settings: 72, 74, 76, 82, 83, 85, 87, 88 ----

class LocalSettingTest : public FunctionLocalTest, public testing::WithParamInterface<SharedRow>
{
};

TEST_P(LocalSettingTest, AnswersTheResultAloneAndLogsAFailure)
{
    EXPECT_EQ(Head(GetParam().id), Reply(GetParam().id));
    EXPECT_EQ(std::string::npos, Log().find("ERROR"));
    spy.results[GetParam().call] = 2;
    EXPECT_EQ(Head(GetParam().id, "02 00"), Reply(GetParam().id));
    const std::string log = Log();
    EXPECT_NE(std::string::npos, log.find(GetParam().log));
    EXPECT_EQ(*GetParam().log != '\0', log.find("ERROR") != std::string::npos);
    spy.results[GetParam().call] = -258;
    EXPECT_EQ(Head(GetParam().id, "FE FE"), Reply(GetParam().id));
    EXPECT_EQ(3u, spy.Names().size());
    EXPECT_EQ(Calls(), gSdk.calls);
}

static const SharedRow kSettings[] = {
    {72, "ComF_set_mesh_switch", "ERROR: set mesh switch failed! ret=2\n"},
    {74, "ComF_set_mesh_roaming_switch", "ERROR: set mesh roaming switch failed! ret=2\n"},
    {76, "ComF_set_mesh_roaming_threshold", "ERROR: set mesh roaming threshold failed! ret=2\n"},
    {82, "ComF_set_wan_cfg", "ERROR: set wan configure failed! ret=2\n"},
    {83, "ComF_trig_onekey_optimize", "ERROR: trigger onekey optimize failed! ret=2\n"},
    {85, "ComF_trig_fault_diagnosis"},
    {87, "ParseConfigData", "ERROR: config data have errors!!!\n"},
    {88, "ComF_set_auto_report", "ERROR: set auto report failed! ret=2\n"},
};
INSTANTIATE_TEST_SUITE_P(All, LocalSettingTest, testing::ValuesIn(kSettings), NameOfRow);

TEST_F(FunctionLocalTest, MeshSwitchesTakeAnyByteUnchanged)
{
    for (const char *byte : {"01", "00", "FF", ""}) {
        Reply(72, Hex(byte));
        Reply(74, Hex(byte));
    }
    EXPECT_EQ(
        Calls({"ComF_set_mesh_switch(1)", "ComF_set_mesh_roaming_switch(1)", "ComF_set_mesh_switch(0)",
               "ComF_set_mesh_roaming_switch(0)", "ComF_set_mesh_switch(255)", "ComF_set_mesh_roaming_switch(255)",
               "ComF_set_mesh_switch(0)", "ComF_set_mesh_roaming_switch(0)"}),
        spy.Names());
}

TEST_F(FunctionLocalTest, TheRoamingThresholdIsTwoBytesInTheirOrder)
{
    Reply(76, Hex("46 BA"));
    Reply(76, Hex("46")); // what was not sent is zero
    Reply(76);
    EXPECT_EQ(Calls({"ComF_set_mesh_roaming_threshold(70, 186)", "ComF_set_mesh_roaming_threshold(70, 0)",
                     "ComF_set_mesh_roaming_threshold(0, 0)"}),
              spy.Names());
}

TEST_F(FunctionLocalTest, AWanToSetIsPassedOnInTheRoutersByteOrder)
{
    const WanCfg wan = SampleWan();
    Reply(82, SampleWanOnTheWire());
    EXPECT_EQ(Calls({CallText("ComF_set_wan_cfg", ShownBytes{&wan, sizeof wan})}), spy.Names());
}

TEST_F(FunctionLocalTest, WanTextsToSetPassUnchanged)
{
    Reply(82, Bytes(228, 'x'));
    EXPECT_EQ(Calls({CallText("ComF_set_wan_cfg", ShownBytes{Bytes(228, 'x').data(), 228})}), spy.Names());
}

TEST_F(FunctionLocalTest, MissingBytesOfAWanAreZero)
{
    const Bytes begun = Hex("01 00 03") + Bytes(225, 0);
    Reply(82, Hex("01 00 03"));
    EXPECT_EQ(Calls({CallText("ComF_set_wan_cfg", ShownBytes{begun.data(), 228})}), spy.Names());
}

TEST_F(FunctionLocalTest, ConfigurationsArePassedOnWithTheLengthThatWasSent)
{
    const struct {
        uint16_t id;
        const char *name;
    } rows[] = {{87, "ParseConfigData"}, {88, "ComF_set_auto_report"}};
    for (const auto &row : rows) {
        const size_t before = spy.Names().size();
        Reply(row.id, Hex("07 00") + Text("{\"a\":1}"));
        Reply(row.id, Hex("02 01") + Text("{}") + Hex("00") + Text("behind")); // a NUL ends it
        Reply(row.id, Hex("05"));
        Reply(row.id);
        Reply(row.id, Hex("FF FF") + Bytes(1587, 'x')); // up to the zero at the end of the request
        const Calls all = spy.Names();
        const std::string name = row.name;
        EXPECT_EQ(Calls({name + "(\"{\"a\":1}\", 7)", name + "(\"{}\", 258)", name + "(\"\", 5)", name + "(\"\", 0)",
                         name + "(\"" + std::string(1587, 'x') + "\", 65535)"}),
                  Calls(all.begin() + static_cast<long>(before), all.end()));
    }
}

// ---- Rules: 66, 69 ----

TEST_F(FunctionLocalTest, RulesAreTheTextUpToItsNulOrTheEndOfTheRequest)
{
    const std::string longest(1500, 'r');
    for (uint16_t id : {66, 69}) {
        Reply(id, Text("{\"FLAG\":\"1\"}"));
        Reply(id, Text("{}") + Hex("00") + Text("behind"));
        Reply(id);
        Reply(id, Text(longest));
    }
    Calls expected;
    for (const std::string name : {"ParseTcParam", "ParseSurfRulesParam"})
        for (const std::string &text : {std::string("{\"FLAG\":\"1\"}"), std::string("{}"), std::string(), longest})
            expected.push_back(CallText(name.c_str(), text.c_str()));
    EXPECT_EQ(expected, spy.Names());
}

TEST_F(FunctionLocalTest, BandwidthRulesAlwaysAnswerZero)
{
    spy.results["ParseTcParam"] = 5;
    EXPECT_EQ(Head(66), Reply(66, Text("{}")));
    EXPECT_EQ(1u, spy.Names().size());
}

TEST_F(FunctionLocalTest, SurfRulesAnswerTheirResult)
{
    EXPECT_EQ(Head(69), Reply(69, Text("{}")));
    spy.results["ParseSurfRulesParam"] = 0x0302;
    EXPECT_EQ(Head(69, "02 03"), Reply(69, Text("{}")));
}

// ---- Queries of a byte or two: 70, 71, 73, 75, 77 ----

class LocalByteQueryTest : public FunctionLocalTest, public testing::WithParamInterface<SharedRow>
{
};

TEST_P(LocalByteQueryTest, AnswersTheReceivedBytes)
{
    const Bytes answer = GetParam().id == 77 ? Hex("46 BA") : Hex("81");
    spy.answers[GetParam().call] = answer;
    EXPECT_EQ(Head(GetParam().id) + answer, Reply(GetParam().id));
    EXPECT_EQ(1u, spy.Names().size());
    EXPECT_EQ(Calls(), gSdk.calls);
}

TEST_P(LocalByteQueryTest, AFailureIsAnsweredWithTheStatusAloneWhateverWasReceived)
{
    spy.answers[GetParam().call] = Hex("81"); // a peer that answers with a failure and a value
    spy.results[GetParam().call] = 2;
    EXPECT_EQ(Head(GetParam().id, "02 00"), Reply(GetParam().id));
    const std::string log = Log();
    EXPECT_NE(std::string::npos, log.find(GetParam().log));
    EXPECT_EQ(*GetParam().log != '\0', log.find("ERROR") != std::string::npos);
    spy.results[GetParam().call] = 0x1234;
    EXPECT_EQ(Head(GetParam().id, "34 12"), Reply(GetParam().id));
}

static const SharedRow kByteQueries[] = {
    {70, "ComF_get_wifi_freqband"},
    {71, "ComF_get_mesh_support", "ERROR: get mesh support failed! ret=2\n"},
    {73, "ComF_get_mesh_switch"},
    {75, "ComF_get_mesh_roaming_switch", "ERROR: get mesh roaming switch failed! ret=2\n"},
    {77, "ComF_get_mesh_roaming_threshold"},
};
INSTANTIATE_TEST_SUITE_P(All, LocalByteQueryTest, testing::ValuesIn(kByteQueries), NameOfRow);

TEST_F(FunctionLocalTest, TheFrequencyBandIsAskedForTheBandOfTheRequest)
{
    Reply(70, Hex("02"));
    Reply(70, Hex("FF FF"));
    Reply(70);
    EXPECT_EQ(Calls({"ComF_get_wifi_freqband(2)", "ComF_get_wifi_freqband(255)", "ComF_get_wifi_freqband(0)"}),
              spy.Names());
}

TEST_F(FunctionLocalTest, TheRoamingThresholdsAreLogged)
{
    spy.answers["ComF_get_mesh_roaming_threshold"] = Hex("46 BA");
    Reply(77);
    EXPECT_NE(std::string::npos, Log().find("get threshold 70,186\n"));
}

// ---- Queries with a longer answer: 78, 79, 80 ----

class LocalAnswerQueryTest : public FunctionLocalTest, public testing::WithParamInterface<SharedRow>
{
};

TEST_P(LocalAnswerQueryTest, AnswersExactlyTheReceivedBytes)
{
    Bytes all;
    for (int i = 0; i < 256; i++) all.push_back(static_cast<uint8_t>(i));
    for (const Bytes &answer : {Bytes(), Hex("00"), Text("{\"nodes\":[]}"), all, Bytes(1400, 0xEE)}) {
        spy.answers[GetParam().call] = answer;
        EXPECT_EQ(Head(GetParam().id) + answer, Reply(GetParam().id));
    }
    EXPECT_EQ(Calls(5, GetParam().call), spy.Names());
}

TEST_P(LocalAnswerQueryTest, AFailureIsAnsweredWithTheStatusAloneWhateverWasReceived)
{
    spy.answers[GetParam().call] = Text("stale");
    spy.results[GetParam().call] = 2;
    EXPECT_EQ(Head(GetParam().id, "02 00"), Reply(GetParam().id));
    const std::string log = Log();
    EXPECT_NE(std::string::npos, log.find(GetParam().log));
    EXPECT_EQ(*GetParam().log != '\0', log.find("ERROR") != std::string::npos);
}

static const SharedRow kAnswerQueries[] = {
    {78, "ComF_get_mesh_topology", "ERROR: get mesh topology failed! ret=2\n"},
    {79, "ComF_get_adj_wifi_info"},
    {80, "ComF_get_bssid", "ERROR: get bssid failed! ret=2\n"},
};
INSTANTIATE_TEST_SUITE_P(All, LocalAnswerQueryTest, testing::ValuesIn(kAnswerQueries), NameOfRow);

TEST_F(FunctionLocalTest, AReplyHasAtMost30NeighboursOf77Bytes)
{
    spy.answers["ComF_get_adj_wifi_info"] = Bytes(2310, 0x4E);
    EXPECT_EQ(Head(79) + Bytes(2310, 0x4E), Reply(79));
    spy.answers["ComF_get_adj_wifi_info"] = Bytes(2311, 0x4E);
    EXPECT_EQ(Head(79) + Bytes(2310, 0x4E), Reply(79));
}

TEST_F(FunctionLocalTest, TheLongestAnswerPassesWhole)
{
    const Bytes longest(4092, 0x54); // status, length and a NUL take the rest of the 4096
    spy.answers["ComF_get_mesh_topology"] = longest;
    spy.answers["ComF_get_bssid"] = longest;
    EXPECT_EQ(Head(78) + longest, Reply(78));
    EXPECT_EQ(Head(80) + longest, Reply(80));
}

// ---- Without a peer ----

TEST_F(FunctionTest, WithoutALocalPeerEveryLocalFunctionAnswers1AtOnce)
{
    for (uint16_t id : {70, 71, 72, 73, 74, 75, 76, 77, 78, 79, 80, 82, 83, 85, 88})
        EXPECT_EQ(Head(id, "01 00"), Reply(id)) << id;
    EXPECT_EQ(Calls(), gSdk.calls);
}
