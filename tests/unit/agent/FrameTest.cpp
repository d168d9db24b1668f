#include "platform/Frame.h"

#include "tests/unit/agent/AgentTest.h"

TEST(Frame, ChecksumIsTheSumOfAllBytesModulo256)
{
    const uint8_t bytes[] = {0xFF, 0x02, 0x80};
    EXPECT_EQ(0x81, GetCheckSum(bytes, sizeof bytes));
    EXPECT_EQ(0, GetCheckSum(nullptr, 0));
}

TEST(Frame, ChecksumOfAFrameCoversBodyLengthHeadAndPlainRecord)
{
    const uint8_t head[] = {0x0B, 0x00};
    const uint8_t plain[] = {0x01, 0x02};
    // 0x20 + 0x01 (length 0x0120) + 0x0B + 0x03
    EXPECT_EQ(0x2F, FrameChecksum(0x0120, head, sizeof head, plain, sizeof plain));
    EXPECT_EQ(0x0B, FrameChecksum(0, head, sizeof head, nullptr, 0));
}

TEST(Frame, WritesMagicTypeLengthsAndChecksumLittleEndian)
{
    const uint8_t head[] = {0x0B, 0x00};
    const uint8_t body[16] = {0xA0};
    uint8_t out[64];
    const FrameHeader header = {MSG_ACK, FLAG_ACK, 2, 0x5A, 16};
    ASSERT_EQ(25u, FrameWrite(header, head, body, out, sizeof out));
    EXPECT_EQ(Hex("CC DD 19 02 5A 10 00 0B 00 A0"), Bytes(out, out + 10));
}

TEST(Frame, KeepsTheFlagInTheHighThreeBitsOfTheTypeByte)
{
    uint8_t out[16];
    const uint8_t head[4] = {};
    ASSERT_EQ(11u, FrameWrite({MSG_HEARTBEAT, FLAG_UP, 4, 0, 0}, head, nullptr, out, sizeof out));
    EXPECT_EQ(0x21, out[2]);
    FrameHeader read;
    ASSERT_TRUE(FrameReadHeader(out, sizeof out, &read));
    EXPECT_EQ(MSG_HEARTBEAT, read.msgType);
    EXPECT_EQ(FLAG_UP, read.flag);
}

TEST(Frame, IsNotWrittenWhenItDoesNotFit)
{
    const uint8_t body[16] = {};
    uint8_t out[22];
    EXPECT_EQ(0u, FrameWrite({MSG_UP, FLAG_UP, 0, 0, 16}, nullptr, body, out, sizeof out));
}

TEST(Frame, HeaderNeedsSevenBytesAndTheMagic)
{
    const Bytes good = Hex("CC DD 34 00 01 20 00");
    FrameHeader header;
    EXPECT_TRUE(FrameReadHeader(good.data(), 7, &header));
    for (size_t size = 0; size < 7; size++) EXPECT_FALSE(FrameReadHeader(good.data(), size, &header));
    const Bytes bad = Hex("DD CC 34 00 01 20 00");
    EXPECT_FALSE(FrameReadHeader(bad.data(), 7, &header));
}

TEST(InnerRecord, WithoutMacHasItsPayloadAtFive)
{
    const uint8_t payload[] = {'h', 'i'};
    uint8_t out[32];
    ASSERT_EQ(7u, InnerRecordWrite({13, nullptr, payload, 2}, out, sizeof out));
    EXPECT_EQ(Hex("00 00 0D 02 00 68 69"), Bytes(out, out + 7));
}

TEST(InnerRecord, WithMacHasItsPayloadAtEleven)
{
    const uint8_t mac[] = {1, 2, 3, 4, 5, 6};
    const uint8_t payload[] = {'h', 'i'};
    uint8_t out[32];
    ASSERT_EQ(13u, InnerRecordWrite({40, mac, payload, 2}, out, sizeof out));
    EXPECT_EQ(Hex("00 00 28 01 02 03 04 05 06 02 00 68 69"), Bytes(out, out + 13));
}

TEST(InnerRecord, IsRefusedWhenItAnnouncesMoreThanFollows)
{
    const Bytes plain = Hex("00 00 0D 03 00 68 69");
    InnerRecord record;
    EXPECT_FALSE(InnerRecordRead(plain.data(), plain.size(), false, &record));
    for (size_t size = 0; size < plain.size(); size++)
        EXPECT_FALSE(InnerRecordRead(plain.data(), size, false, &record)) << size;
}

TEST(InnerRecord, MayCarryItsPaddingAfterThePayload)
{
    const Bytes plain = Hex("00 00 0D 02 00 68 69 02 02");
    InnerRecord record;
    ASSERT_TRUE(InnerRecordRead(plain.data(), plain.size(), false, &record));
    EXPECT_EQ(13, record.dataType);
    EXPECT_EQ(Hex("68 69"), Bytes(record.payload, record.payload + record.payloadLen));
}
