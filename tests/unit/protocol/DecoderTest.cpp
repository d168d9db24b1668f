#include "protocol/Decoder.h"
#include "protocol/FunctionNames.h"
#include "protocol/Names.h"
#include "tests/support/Frames.h"

using namespace protocol;

static Fields Describe(const std::string &hex, bool fromAgent = true, Step step = STEP_COMMAND)
{
    ParsedFrame frame = ParseFrame(Hex(hex), kKey, fromAgent);
    return DescribeFrame(&frame, step);
}

TEST(Decoder, NamesARegistration)
{
    const Fields fields = Describe(kRegisterFrame);
    EXPECT_EQ("register", At(fields, "type"));
    EXPECT_EQ("9", At(fields, "msgtype"));
    EXPECT_EQ("15", At(fields, "head_length"));
    EXPECT_EQ("48", At(fields, "body_length"));
    EXPECT_EQ("true", At(fields, "checksum_ok"));
    EXPECT_EQ("PIN4567890AB", At(fields, "head.pin"));
    EXPECT_EQ("SN1", At(fields, "fields.serial"));
    EXPECT_EQ("02:11:22:33:44:55", At(fields, "fields.mac"));
}

TEST(Decoder, NamesALogin)
{
    const Fields fields = Describe(kLoginFrame);
    EXPECT_EQ("tok", At(fields, "head.token"));
    EXPECT_EQ("2.0.0.7", At(fields, "fields.version"));
}

TEST(Decoder, ReadsASessionAcknowledgementByTheStepItBelongsTo)
{
    const Fields registered = Describe(kRegisterAckFrame, false, STEP_REGISTER);
    EXPECT_EQ("127.0.0.1:6040", At(registered, "fields.login"));
    EXPECT_EQ("plugin-0001", At(registered, "fields.plugin_id"));
    EXPECT_EQ("60", At(Describe(kLoginAckFrame, false, STEP_LOGIN), "fields.interval"));
}

TEST(Decoder, ShowsTheTimeOfAHeartbeat)
{
    EXPECT_EQ("1700000000", At(Describe(kHeartbeatFrame), "head.time"));
}

TEST(Decoder, ParsesTheJsonOfAnUpload)
{
    const Fields fields = Describe(kUploadFrame);
    EXPECT_EQ("rules-request", At(fields, "datatype_name"));
    EXPECT_EQ("021122334455", At(fields, "json.MAC"));
}

TEST(Decoder, NamesAFunctionThatIsNotSupported)
{
    const Fields fields = Describe(kNotSupportedFrame);
    EXPECT_EQ("89", At(fields, "function"));
    EXPECT_EQ("0100", At(fields, "tag"));
    EXPECT_EQ("7", At(fields, "status"));
    EXPECT_EQ("not supported", At(fields, "verdict"));
}

TEST(Decoder, NamesAnAcknowledgementOfAWrongChecksum)
{
    const Fields fields = Describe(kChecksumWrongFrame);
    EXPECT_EQ("11", At(fields, "head.ack"));
    EXPECT_EQ("checksum wrong", At(fields, "head.meaning"));
}

static Fields DescribeReply(const Bytes &payload, const Bytes &head = {0, 0})
{
    OutFrame reply;
    reply.msgType = MSG_ACK_MAC;
    reply.head = head;
    reply.hasPlain = true;
    reply.plain = InnerRecordBytes(1, Hex("021122334455"), payload);
    ParsedFrame frame = ParseFrame(EncodeFrame(reply, kKey), kKey, true);
    return DescribeFrame(&frame, STEP_COMMAND);
}

TEST(Decoder, ReadsErrorTextsAsTextsAlthoughTheyWouldFillARecord)
{
    EXPECT_EQ("length error", At(DescribeReply(ToBytes("length error")), "text"));
    EXPECT_EQ("(none)", At(DescribeReply(ToBytes("length error")), "function"));
    const Fields fields = DescribeReply(ToBytes("parser error"), {0xFF, 0xFF});
    EXPECT_EQ("parser error", At(fields, "text"));
    EXPECT_EQ("parser error", At(fields, "head.meaning"));
}

TEST(Decoder, ShowsAStatusAsASignedNumber)
{
    EXPECT_EQ("-9", At(DescribeReply(Hex("0100 4500 f7ff")), "status"));
}

TEST(Decoder, ShowsTheDataOfAnUnknownFunctionAsBytes)
{
    EXPECT_EQ("2a00", At(DescribeReply(Hex("0100 5900 0000 2a00")), "data"));
}

TEST(Decoder, ReportsAReplyShorterThanItsHeader)
{
    OutFrame reply;
    reply.msgType = MSG_ACK_MAC;
    reply.head = {0, 0};
    reply.hasPlain = true;
    reply.plain = InnerRecordBytes(1, Hex("021122334455"), Hex("0100010000"));
    ParsedFrame frame = ParseFrame(EncodeFrame(reply, kKey), kKey, true);
    DescribeFrame(&frame, STEP_COMMAND);
    ASSERT_EQ(1u, frame.problems.size());
    EXPECT_EQ("a reply shorter than its header", frame.problems[0]);
}

TEST(Decoder, ShowsTheFieldsOfAReplyAndItsErrors)
{
    EXPECT_EQ("42", At(DescribeReply(Hex("0100 2f00 0000 2a00")), "fields.use"));
    OutFrame reply;
    reply.msgType = MSG_ACK_MAC;
    reply.head = {0, 0};
    reply.hasPlain = true;
    reply.plain = InnerRecordBytes(1, Hex("021122334455"), Hex("0100 2f00 0000 2a"));
    ParsedFrame frame = ParseFrame(EncodeFrame(reply, kKey), kKey, true);
    EXPECT_EQ("2a", At(DescribeFrame(&frame, STEP_COMMAND), "data"));
    EXPECT_EQ((std::vector<std::string>{"1 bytes of data instead of 2"}), frame.problems);
}

TEST(Decoder, ShowsTheFieldsOfARequest)
{
    OutFrame request;
    request.msgType = MSG_FUNCTION_COMMAND;
    request.hasPlain = true;
    request.plain = InnerRecordBytes(3, Hex("021122334455"), Hex("0100 0300 000000000000 0500"));
    ParsedFrame frame = ParseFrame(EncodeFrame(request, kKey), kKey, false);
    const Fields fields = DescribeFrame(&frame, STEP_COMMAND);
    EXPECT_EQ("0500", At(fields, "parameters"));
    EXPECT_EQ("5", At(fields, "fields.wan"));
}

TEST(FunctionNames, AreReadBackAsTheirNumbers)
{
    for (unsigned id = 0; id < 94; id++) {
        const std::string name = FunctionName(id);
        uint16_t number = 0;
        if (!name.empty()) {
            EXPECT_TRUE(ParseFunction(name, &number));
            EXPECT_EQ(id, number) << name;
        }
    }
    for (unsigned id : {0u, 62u, 63u, 65u, 67u, 68u, 89u}) EXPECT_EQ("", FunctionName(id));
    uint16_t number;
    EXPECT_TRUE(ParseFunction("0x9c40", &number));
    EXPECT_EQ(40000, number);
    EXPECT_FALSE(ParseFunction("65536", &number));
    EXPECT_FALSE(ParseFunction("identities", &number));
}

TEST(Names, TellPluginDataFromFunctionsByTheMsgType)
{
    EXPECT_EQ("plugin-update", DataTypeName(MSG_PLUG_COMMAND, 2));
    EXPECT_EQ("identity", DataTypeName(MSG_FUNCTION_COMMAND, 2));
    EXPECT_EQ("device-report", DataTypeName(MSG_UP_MAC, 40));
    EXPECT_EQ("rate-result", DataTypeName(MSG_ACK_MAC, 62));
}
