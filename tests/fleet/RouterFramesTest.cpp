// What synthetic routers send is what routers send: the gateway's decoders find nothing wrong with it.
#include <gtest/gtest.h>

#include "gateway/translate/Question.h"
#include "gateway/translate/Report.h"
#include "tests/fleet/RouterFrames.h"

using namespace protocol;

namespace
{
ParsedFrame Parse(const Bytes &bytes, const RouterFacts &facts)
{
    const ParsedFrame frame = ParseFrame(bytes, facts.key, true);
    EXPECT_TRUE(frame.checksumOk);
    EXPECT_TRUE(frame.problems.empty()) << frame.problems.at(0);
    return frame;
}

TEST(RouterFrames, AreWhatAnAgentSends)
{
    const RouterFacts facts = FactsOf(7);
    Parse(RegisterFrame(facts), facts);
    Parse(LoginFrame(facts, Bytes(32, 1)), facts);
    Parse(HeartbeatFrame(facts), facts);
    Parse(TextReportFrame(facts, R"({"MAC":"021A2B000001"})"), facts);
}

TEST(RouterFrames, AListOfDevicesIsReadWithoutAProblem)
{
    const RouterFacts facts = FactsOf(7);
    const ParsedFrame frame = Parse(DeviceListFrame(facts, 3, 5), facts);
    const gateway::Report report = gateway::MakeReport(frame.header.msgType, frame.dataType, frame.payload);
    EXPECT_EQ("device-list", report.name);
    EXPECT_FALSE(report.document.contains("problems")) << report.document;
    ASSERT_EQ(5u, report.document["fields"]["devices"].size()) << report.document;
    EXPECT_EQ("192.168.1.14", report.document["fields"]["devices"][4]["ip"]);
    EXPECT_EQ("device-4", report.document["fields"]["devices"][4]["name"]);
}

TEST(RouterFrames, AnAnswerOfSixtyFourBytesIsAWholeVersion)
{
    const RouterFacts facts = FactsOf(7);
    ParsedFrame question;
    question.header.msgType = MSG_FUNCTION_COMMAND;
    question.dataType = 1;
    question.payload = {0x34, 0x12, 1, 0, 0, 0, 0, 0, 0, 0};
    const auto answer = AnswerFrame(facts, question, Bytes(64));
    ASSERT_TRUE(answer);
    const ParsedFrame frame = Parse(*answer, facts);
    EXPECT_EQ(0x34, frame.payload[0]);
    const gateway::Json json = gateway::AnswerJson(1, frame.payload);
    EXPECT_TRUE(json.value("ok", false)) << json;
    EXPECT_FALSE(json.contains("problems")) << json;
}
} // namespace
