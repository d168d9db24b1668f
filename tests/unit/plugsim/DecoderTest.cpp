#include "simulator/Decoder.h"
#include "simulator/FunctionDecoders.h"
#include "simulator/FunctionNames.h"
#include "simulator/Names.h"
#include "tests/unit/plugsim/Frames.h"

using namespace sim;

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

TEST(Decoder, TakesTheJsonOfAnUploadApart)
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

TEST(Decoder, TakesErrorTextsForTextsAlthoughTheyWouldFillARecord)
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

TEST(Decoder, ShowsTheDataOfAFunctionWithoutADecoderAsBytes)
{
    EXPECT_EQ("2a00", At(DescribeReply(Hex("0100 2f00 0000 2a00")), "data"));
}

TEST(Decoder, ComplainsAboutAReplyShorterThanItsHeader)
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

static Bytes Padded(const std::string &text, size_t size)
{
    Bytes bytes = ToBytes(text);
    bytes.resize(size);
    return bytes;
}

TEST(FunctionDecoders, ReadsTheRouterVersion)
{
    Bytes data = Padded("V1.2.3", 60);
    Append(&data, {20, 23, 11, 5});
    std::string problem;
    const Fields fields = DecodeFunctionData(1, data, &problem);
    EXPECT_EQ("V1.2.3", At(fields, "version"));
    EXPECT_EQ("2023-11-05", At(fields, "date"));
    EXPECT_EQ("", problem);
}

TEST(FunctionDecoders, ReadsEveryFieldOfTheIdentity)
{
    Bytes data = Hex("02 11 22 33 44 55");      // reply bytes 6 to 11
    Append(&data, Padded("SN0001", 64));        // 12
    Append(&data, Padded("Example", 64));       // 76
    Append(&data, Padded("R-100", 64));         // 140
    Append(&data, Padded("24K", 40));           // 204
    Append(&data, Hex("70 03 04"));             // 244: 880 MHz, 4 cores
    Append(&data, Hex("00 00 02 00"));          // 247: 131072 KiB
    Append(&data, Padded("DDR2", 16));          // 251
    Append(&data, Hex("01"));                   // 267
    Append(&data, Padded("Home \xc3\xa9", 32)); // 268
    Append(&data, Hex("00"));                   // 300
    ASSERT_EQ(301u - 6, data.size());
    std::string problem;
    const Fields fields = DecodeFunctionData(2, data, &problem);
    EXPECT_EQ("02:11:22:33:44:55", At(fields, "mac"));
    EXPECT_EQ("SN0001", At(fields, "serial"));
    EXPECT_EQ("Example", At(fields, "vendor"));
    EXPECT_EQ("R-100", At(fields, "model"));
    EXPECT_EQ("24K", At(fields, "cpu_model"));
    EXPECT_EQ("880", At(fields, "cpu_mhz"));
    EXPECT_EQ("4", At(fields, "cpu_cores"));
    EXPECT_EQ("131072", At(fields, "memory_kb"));
    EXPECT_EQ("DDR2", At(fields, "memory_type"));
    EXPECT_EQ("1", At(fields, "plug"));
    EXPECT_EQ("Home \xc3\xa9", At(fields, "name"));
    EXPECT_EQ("0", At(fields, "ipv6"));
}

TEST(FunctionDecoders, ComplainsAboutDataOfAnotherLength)
{
    std::string problem;
    EXPECT_TRUE(DecodeFunctionData(2, Bytes(294), &problem).empty());
    EXPECT_EQ("294 bytes of data instead of 295", problem);
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
