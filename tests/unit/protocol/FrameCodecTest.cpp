#include "tests/support/Frames.h"

using namespace protocol;

TEST(FrameCutter, ReturnsAFrameOnlyAfterItsLastByte)
{
    const Bytes frame = Hex(kHeartbeatFrame);
    for (size_t length = 0; length < frame.size(); length++) {
        FrameCutter cutter;
        Bytes cut;
        std::string problem;
        cutter.Push(frame.data(), length);
        EXPECT_FALSE(cutter.Pop(&cut, &problem)) << length;
        EXPECT_EQ("", problem);
        cutter.Push(frame.data() + length, frame.size() - length);
        ASSERT_TRUE(cutter.Pop(&cut, &problem)) << length;
        EXPECT_EQ(frame, cut);
        EXPECT_EQ(0u, cutter.Left());
    }
}

TEST(FrameCutter, CountsTheBytesBeforeTheMagic)
{
    FrameCutter cutter;
    Bytes bytes = Hex("01 02 cc");
    Append(&bytes, Hex(kHeartbeatFrame));
    cutter.Push(bytes.data(), bytes.size());
    Bytes cut;
    std::string problem;
    ASSERT_TRUE(cutter.Pop(&cut, &problem));
    EXPECT_EQ("3 bytes before the magic", problem);
    EXPECT_EQ(Hex(kHeartbeatFrame), cut);
}

TEST(FrameCutter, KeepsAFirstHalfOfTheMagicAtTheEnd)
{
    FrameCutter cutter;
    const Bytes bytes = Hex("01 02 cc");
    cutter.Push(bytes.data(), bytes.size());
    Bytes cut;
    std::string problem;
    EXPECT_FALSE(cutter.Pop(&cut, &problem));
    EXPECT_EQ("2 bytes before the magic", problem);
    EXPECT_EQ(1u, cutter.Left());
}

TEST(FrameCutter, SkipsAHeaderThatAnnouncesMoreThanTheLongestFrame)
{
    FrameCutter cutter;
    Bytes bytes = Hex("cc dd 31 00 00 fa 1f"); // 7 + 8186 is 8193
    Append(&bytes, Hex(kHeartbeatFrame));
    cutter.Push(bytes.data(), bytes.size());
    Bytes cut;
    std::string problem;
    EXPECT_FALSE(cutter.Pop(&cut, &problem));
    EXPECT_EQ("a header announces a frame of 8193 bytes", problem);
    ASSERT_TRUE(cutter.Pop(&cut, &problem));
    EXPECT_EQ(Hex(kHeartbeatFrame), cut);
}

TEST(ParseFrame, AcceptsTheFramesOfAnAgent)
{
    for (const char *hex : {kRegisterFrame, kLoginFrame, kHeartbeatFrame, kUploadFrame, kNotSupportedFrame}) {
        const ParsedFrame frame = FromAgent(hex);
        EXPECT_TRUE(frame.checksumOk) << hex;
        EXPECT_TRUE(frame.problems.empty()) << hex << ": " << frame.problems[0];
    }
}

TEST(ParseFrame, ChecksTheChecksumOfEveryMsgType)
{
    for (const char *hex : {kRegisterFrame, kLoginFrame, kHeartbeatFrame, kUploadFrame, kNotSupportedFrame,
                            kChecksumWrongFrame, kUploadAckFrame}) {
        Bytes bytes = Hex(hex);
        const uint8_t right = bytes[4]++;
        const ParsedFrame frame = ParseFrame(bytes, kKey, true);
        EXPECT_FALSE(frame.checksumOk) << hex;
        EXPECT_EQ(right, frame.checksumExpected) << hex;
    }
}

TEST(ParseFrame, ReadsTheInnerRecordWithAndWithoutAMac)
{
    const ParsedFrame without = FromAgent(kUploadFrame);
    EXPECT_EQ(13, without.dataType);
    EXPECT_TRUE(without.mac.empty());
    EXPECT_EQ(ToBytes("{\"MAC\":\"021122334455\"}"), without.payload);

    const ParsedFrame with = FromAgent(kNotSupportedFrame);
    EXPECT_EQ(89, with.dataType);
    EXPECT_EQ(Hex("02 11 22 33 44 55"), with.mac);
    EXPECT_EQ(Hex("01 00 59 00 07 00"), with.payload);
}

static bool Complains(const ParsedFrame &frame, const std::string &about)
{
    for (const std::string &problem : frame.problems)
        if (problem.find(about) != std::string::npos) return true;
    return false;
}

TEST(ParseFrame, ReportsAnotherKey)
{
    EXPECT_TRUE(Complains(FromAgent(kOtherKeyFrame), "padding"));
}

TEST(ParseFrame, ReportsAWrongFlagAndAWrongHeadLength)
{
    EXPECT_TRUE(Complains(FromAgent("cc dd 01 04 a9 00 00 00 f1 53 65"), "flag 0 instead of 1"));
    EXPECT_TRUE(Complains(FromAgent("cc dd 21 03 44 00 00 00 f1 53"), "head block of 3 bytes instead of 4"));
}

TEST(ParseFrame, ReportsAnUnexpectedAndAMissingBody)
{
    EXPECT_TRUE(Complains(FromAgent("cc dd 21 04 00 01 00 00 f1 53 65 00"), "a body where none belongs"));
    EXPECT_TRUE(Complains(FromAgent("cc dd 31 00 00 00 00"), "no body"));
    EXPECT_TRUE(FromAgent(kChecksumWrongFrame).problems.empty()); // an acknowledgement may have no body
}

TEST(ParseFrame, ReportsAMsgTypeThatAgentsDoNotSend)
{
    EXPECT_TRUE(Complains(FromAgent("cc dd 14 00 00 00 00"), "no agent sends this"));
}

TEST(ParseFrame, ReportsARecordThatAnnouncesMoreThanFollows)
{
    OutFrame frame;
    frame.msgType = MSG_UP;
    frame.flag = FLAG_UP;
    frame.hasPlain = true;
    frame.plain = Hex("00 00 0d 03 00 41 42"); // 3 announced, 2 present
    EXPECT_TRUE(Complains(ParseFrame(EncodeFrame(frame, kKey), kKey, true), "cut off"));
    frame.plain = Hex("00 00 0d 01 00 41 42"); // 1 announced, 2 present
    EXPECT_TRUE(Complains(ParseFrame(EncodeFrame(frame, kKey), kKey, true), "1 bytes behind"));
    frame.plain = Hex("00 01 0d 02 00 41 42");
    EXPECT_TRUE(Complains(ParseFrame(EncodeFrame(frame, kKey), kKey, true), "two zero bytes"));
}

TEST(EncodeFrame, UsesTheOverridesGiven)
{
    OutFrame frame;
    frame.msgType = 2;
    frame.head = {0xAA};
    frame.body = {0xFF, 0xFF};
    // 02 00 of the length and AA of the head block
    EXPECT_EQ(Hex("cc dd 02 01 ac 02 00 aa ff ff"), EncodeFrame(frame, kKey));
    frame.checksum = 7;
    frame.bodyLength = 0x1234;
    EXPECT_EQ(Hex("cc dd 02 01 07 34 12 aa ff ff"), EncodeFrame(frame, kKey));
    frame.raw = {1, 2, 3};
    EXPECT_EQ(Hex("01 02 03"), EncodeFrame(frame, kKey));
}
