#include "simulator/platform/FrameCommands.h"
#include "tests/support/Frames.h"

using namespace sim;

static Words Split(const std::string &line)
{
    Words words;
    std::string error;
    EXPECT_TRUE(SplitWords(line, &words, &error)) << error;
    return words;
}

TEST(Words, AreSplitAtBlanksQuotesAndComments)
{
    EXPECT_EQ((Words{"plugin", "4", "{\"result\":1}"}), Split("  plugin 4\t{\"result\":1}\r"));
    EXPECT_EQ((Words{"echo", "a b", "c \"d\" \\e", "it's"}), Split("echo 'a b' \"c \\\"d\\\" \\e\" it's"));
    EXPECT_EQ((Words{"drop"}), Split("drop # the connection"));
    EXPECT_EQ((Words{"echo", ""}), Split("echo ''"));
    EXPECT_EQ(Words(), Split("# nothing"));
    Words words;
    std::string error;
    EXPECT_FALSE(SplitWords("echo 'open", &words, &error));
}

TEST(Words, AreWholeJsonObjectsWithTheirBlanksAndQuotes)
{
    EXPECT_EQ((Words{"plugin", "4", "{\"a\":  \"b } \\\" #\"}", "more"}),
              Split("plugin 4 {\"a\":  \"b } \\\" #\"} more # comment"));
    EXPECT_EQ((Words{"{\"a\": {\"b\": [1, 2]}}x"}), Split("{\"a\": {\"b\": [1, 2]}}x"));
    EXPECT_EQ((Words{"plugin", "4", "{\"a\":", "1"}), Split("plugin 4 {\"a\": 1")); // not closed: plain words
}

TEST(Words, ReadNumbersAndTimesWithinTheirBounds)
{
    int64_t number;
    EXPECT_TRUE(ParseNumber("-32768", -32768, 32767, &number));
    EXPECT_EQ(-32768, number);
    EXPECT_TRUE(ParseNumber("010", 0, 100, &number));
    EXPECT_EQ(10, number);
    for (const char *bad : {"", " 1", "1 ", "1x", "32768", "99999999999999999999", "0x"})
        EXPECT_FALSE(ParseNumber(bad, -32768, 32767, &number)) << bad;
    EXPECT_TRUE(ParseSeconds("1.5", &number));
    EXPECT_EQ(1500, number);
    for (const char *bad : {"", ".", "-1", "1e3", "86401", "nan", "1.2.3"})
        EXPECT_FALSE(ParseSeconds(bad, &number)) << bad;
}

TEST(Words, ReadAddresses)
{
    Address address;
    ASSERT_TRUE(ParseAddress("192.168.1.20:6039", &address));
    EXPECT_EQ("192.168.1.20:6039", AddressText(address));
    ASSERT_TRUE(ParseAddress(":0", &address));
    EXPECT_EQ("127.0.0.1:0", AddressText(address));
    for (const char *bad : {"", "1.2.3.4", "1.2.3:5", "1.2.3.4:65536", "host:1", "1.2.3.4:"})
        EXPECT_FALSE(ParseAddress(bad, &address)) << bad;
}

namespace
{
struct FrameLines : testing::Test {
    FrameLines() { peer.mac = Hex("02 11 22 33 44 55"); }
    Bytes Make(const std::string &line)
    {
        OutFrame frame;
        error.clear();
        if (!MakeFrame(Split(line), &context, &frame, &error)) return {};
        return EncodeFrame(frame, kKey);
    }
    // The decrypted body of the frame.
    Bytes Plain(const std::string &line) { return ParseFrame(Make(line), kKey, false).plain; }
    Peer peer;
    FrameContext context = {&peer, kKey, 1000};
    std::string error;
};
} // namespace

TEST_F(FrameLines, VersionAsksFunctionOne)
{
    EXPECT_EQ(Hex(kVersionCommandFrame), Make("version"));
    EXPECT_EQ(1u, peer.waiting.count(1));
    EXPECT_EQ(1, peer.waiting[1].function);
}

TEST_F(FrameLines, FunctionTakesANameAndParametersOfEveryKind)
{
    // DataType 46, MAC, length 18; tag 1, function 46, six unused bytes, "New" and 00 01 02 03 04
    EXPECT_EQ(Hex("0000 2e 021122334455 1200 0100 2e00 000000000000 4e6577 0001020304"),
              Plain("function set-router-name text=New 0001 02:03:04"));
    EXPECT_EQ(Hex("0000 07 021122334455 0a00 0200 409c 000000000000"), Plain("function 40000 datatype=7"));
}

TEST_F(FrameLines, EveryFunctionCommandGetsADistinctTag)
{
    Make("version");
    EXPECT_EQ(Hex("0000 02 021122334455 0a00 0200 0200 000000000000"), Plain("identity"));
}

TEST_F(FrameLines, EveryFunctionIsACommand)
{
    // DataType 3, MAC, length 12; tag 1, function 3, six unused bytes, WAN 2
    EXPECT_EQ(Hex("0000 03 021122334455 0c00 0100 0300 000000000000 0200"), Plain("wan-config 2"));
    EXPECT_EQ(3, peer.waiting[1].function);
    for (const char *line : {"set-led on", "identity", "version"}) EXPECT_NE(Bytes(), Make(line)) << line;
    for (const std::string name : {"", "3", "quit", "functions", "set-leds"}) {
        EXPECT_EQ(Bytes(), Make(name));
        EXPECT_EQ("'" + name + "' sends no frame", error);
    }
}

TEST_F(FrameLines, ParametersThatDoNotFitOneFrameAreRefused)
{
    EXPECT_EQ(Bytes(), Make("set-router-name " + std::string(65001, 'a')));
    EXPECT_EQ("too many bytes", error);
}

TEST_F(FrameLines, RecordSendsARequestOfAnyLength)
{
    EXPECT_EQ(Hex("0000 09 021122334455 0900 010002000000000000"), Plain("record 010002000000000000 datatype=9"));
    EXPECT_TRUE(peer.waiting.empty());
}

TEST_F(FrameLines, PluginSendsItsTextUnderADataType)
{
    EXPECT_EQ(Hex("0000 04 0c00 7b22726573756c74223a307d"), Plain("plugin online {\"result\":0}"));
    EXPECT_EQ(Hex("0000 ff 0300 612062"), Plain("plugin 255 a b"));
    EXPECT_EQ(0x12, Make("plugin 4 {}")[2]); // MsgType 18, flag 0
}

TEST_F(FrameLines, FrameAndRawSendTheGivenBytes)
{
    EXPECT_EQ(Hex("cc dd 02 00 00 00 00"), Make("frame heartbeat-ack"));
    EXPECT_EQ(Hex("cc dd 34 02 05 03 00 aabb 010203"), Make("frame 20 head=aabb body=010203 checksum=5 flag=1"));
    EXPECT_EQ(Hex("cc dd 14 00 00 ff ff"), Make("frame 20 length=0xffff"));
    EXPECT_EQ(Hex(kLoginAckFrame), Make("frame session-ack plain=00003c00"));
    EXPECT_EQ(Hex("00 cc dd"), Make("raw 00 cc dd"));
}

TEST_F(FrameLines, DisconnectIsABareHeader)
{
    EXPECT_EQ(Hex("cc dd 03 00 00 00 00"), Make("disconnect"));
}

TEST_F(FrameLines, NetworkFailureIsABodyOfOnes)
{
    EXPECT_EQ(Hex("cc dd 02 00 10 10 00 ffffffffffffffffffffffffffffffff"), Make("network-failure"));
}

TEST_F(FrameLines, RefuseInvalidLines)
{
    for (const char *line : {"function",
                             "function 65536",
                             "function nonsense",
                             "function 1 xyz",
                             "function 1 abc",
                             "function 1 datatype=256",
                             "plugin",
                             "plugin 256",
                             "record",
                             "record zz",
                             "record 00 tag=1",
                             "raw",
                             "raw 0",
                             "frame",
                             "frame 32",
                             "frame 1 checksum=256",
                             "frame 1 tail=00",
                             "frame 1 plain=00 body=00",
                             "version 1",
                             "identity 1",
                             "wan-config",
                             "set-led maybe",
                             "drop",
                             "nothing"}) {
        EXPECT_EQ(Bytes(), Make(line)) << line;
        EXPECT_NE("", error) << line;
    }
}
