// What the results in an agent's answers mean, and that its frames show it.
#include "protocol/Meanings.h"
#include "protocol/Decoder.h"
#include "tests/support/Frames.h"

using namespace protocol;

namespace
{
Fields Describe(uint8_t msgType, uint8_t dataType, const Bytes &head, const Bytes &payload)
{
    OutFrame frame;
    frame.msgType = msgType;
    frame.head = head;
    frame.hasPlain = true;
    frame.plain = InnerRecordBytes(dataType, msgType == MSG_ACK_MAC ? Hex("021122334455") : Bytes(), payload);
    ParsedFrame parsed = ParseFrame(EncodeFrame(frame, kKey), kKey, true);
    return DescribeFrame(&parsed, STEP_COMMAND);
}

// Tag 1, function 69 or 66, a status.
std::string MeaningOfStatus(const std::string &functionAndStatus)
{
    return At(Describe(MSG_ACK_MAC, 69, {0, 0}, Hex("0100" + functionAndStatus)), "meaning");
}

std::string MeaningOfResult(const std::string &result, const Bytes &head, uint8_t dataType = 9)
{
    return At(Describe(MSG_ACK, dataType, head, ToBytes("{\"result\":" + result + "}")), "meaning");
}
} // namespace

TEST(RuleResults, TheStatusOfSurfRulesHasAMeaning)
{
    EXPECT_EQ("done", MeaningOfStatus("4500 0000"));
    EXPECT_EQ("there is no text", MeaningOfStatus("4500 0100"));
    EXPECT_EQ("the text is no JSON", MeaningOfStatus("4500 0200"));
    EXPECT_EQ("an item lacks FLAG", MeaningOfStatus("4500 0300"));
    EXPECT_EQ("an item lacks MAC", MeaningOfStatus("4500 0400"));
    EXPECT_EQ("an item lacks DAY", MeaningOfStatus("4500 0500"));
    EXPECT_EQ("an item lacks START", MeaningOfStatus("4500 0600"));
    EXPECT_EQ("an item lacks STOP", MeaningOfStatus("4500 0700"));
    EXPECT_EQ("an item lacks ALLOW", MeaningOfStatus("4500 0800"));
    EXPECT_EQ("(none)", MeaningOfStatus("4500 0900"));
}

TEST(RuleResults, TheStatusOfLimitsMeansThatTheyWereRead)
{
    EXPECT_EQ("the agent is through with the text; how that went is in its log alone", MeaningOfStatus("4200 0000"));
    EXPECT_EQ("(none)", MeaningOfStatus("4200 0300")); // never sent
}

TEST(RuleResults, OtherFunctionsHaveNone)
{
    EXPECT_EQ("(none)", MeaningOfStatus("1700 0000"));
}

TEST(RuleResults, TheResultOfAForwardingHasAMeaning)
{
    EXPECT_EQ("the commands were run; what the packet filter said to them is not known", MeaningOfResult("0", {0, 0}));
    const char *const meanings[] = {"there is no text",
                                    "the text is no JSON",
                                    "FLAG is missing",
                                    "PRE_IP is missing",
                                    "PRE_PORT is missing",
                                    "POST_IP is missing",
                                    "POST_PORT is missing",
                                    "FLAG begins with neither 1 nor 0",
                                    "an address or a port is too long or no plain word; nothing was run"};
    for (int i = 0; i < 9; i++)
        EXPECT_EQ(meanings[i], MeaningOfResult(std::to_string(-1 - i), {static_cast<uint8_t>(0xFF - i), 0xFF}));
    EXPECT_EQ("(none)", MeaningOfResult("-10", {0xF6, 0xFF}));
    EXPECT_EQ("(none)", MeaningOfResult("0", {0, 0}, 250)); // another command
}

TEST(RuleResults, TheResultMinusOneIsNotAParserError)
{
    const Bytes minusOne = {0xFF, 0xFF};
    EXPECT_EQ("(none)", At(Describe(MSG_ACK, 9, minusOne, ToBytes("{\"result\":-1}")), "head.meaning"));
    EXPECT_EQ("parser error", At(Describe(MSG_ACK_MAC, 9, minusOne, ToBytes("parser error")), "head.meaning"));
}

TEST(PluginResults, HaveMeanings)
{
    EXPECT_EQ("the text is no JSON or has no result", ResultMeaning(4, -1));
    EXPECT_EQ("fromVersion is missing", ResultMeaning(15, 1));
    EXPECT_EQ("toVersion is missing", ResultMeaning(15, 2));
    EXPECT_EQ("the text is no JSON, or func40Interval is missing or not 0 to 19", ResultMeaning(18, -1));
    EXPECT_EQ("", ResultMeaning(18, 5));
    EXPECT_EQ("", ResultMeaning(250, 0));
}
