#include "core/Wire.h"

#include "tests/unit/agent/AgentTest.h"

TEST(WireReader, ReadsIntegersLowByteFirst)
{
    const Bytes bytes = Hex("AB 22 11 88 77 66 F5");
    WireReader r = WireRead(bytes.data(), bytes.size());
    EXPECT_EQ(0xAB, WireGet8(&r));
    EXPECT_EQ(0x1122, WireGetLe16(&r));
    EXPECT_EQ(0xF5667788u, WireGetLe32(&r));
    EXPECT_EQ(0u, r.left);
    EXPECT_FALSE(r.failed);
}

TEST(WireReader, ReturnsZerosPastTheEndAndKeepsTheFailure)
{
    const Bytes bytes = Hex("01 02 03");
    WireReader r = WireRead(bytes.data(), bytes.size());
    EXPECT_EQ(0x0201, WireGetLe16(&r));
    EXPECT_EQ(0, WireGetLe16(&r)); // only one byte is left
    EXPECT_TRUE(r.failed);
    EXPECT_EQ(0, WireGet8(&r)); // and that one is not given either
    uint8_t copy[2] = {7, 7};
    WireGetBytes(&r, copy, sizeof copy);
    EXPECT_EQ(Hex("00 00"), Bytes(copy, copy + 2));
    EXPECT_EQ(nullptr, WireTake(&r, 0));
}

TEST(WireReader, RefusesEveryIntegerThatIsCutShort)
{
    const uint8_t bytes[3] = {1, 1, 1};
    for (size_t size = 0; size < 4; size++) {
        WireReader r = WireRead(bytes, size);
        EXPECT_EQ(0u, WireGetLe32(&r) >> 16) << size; // never bytes that were not there
        EXPECT_TRUE(r.failed);
    }
}

TEST(WireReader, ReturnsBytesInPlace)
{
    const uint8_t bytes[4] = {1, 2, 3, 4};
    WireReader r = WireRead(bytes, sizeof bytes);
    EXPECT_EQ(bytes, WireTake(&r, 3));
    EXPECT_EQ(bytes + 3, WireTake(&r, 1));
    EXPECT_EQ(nullptr, WireTake(&r, 1));
    EXPECT_TRUE(r.failed);
}

TEST(WireReader, IsNotFooledByASizeThatWouldWrapAround)
{
    const uint8_t bytes[4] = {};
    WireReader r = WireRead(bytes, sizeof bytes);
    EXPECT_EQ(nullptr, WireTake(&r, SIZE_MAX));
    EXPECT_TRUE(r.failed);
}

TEST(WireWriter, WritesIntegersLowByteFirst)
{
    uint8_t out[9];
    WireWriter w = WireWrite(out, sizeof out);
    WirePut8(&w, 0xAB);
    WirePutLe16(&w, 0x1122);
    WirePutLe32(&w, 0xF5667788);
    WirePutZeros(&w, 2);
    EXPECT_FALSE(w.failed);
    EXPECT_EQ(9u, w.used);
    EXPECT_EQ(Hex("AB 22 11 88 77 66 F5 00 00"), Bytes(out, out + 9));
}

TEST(WireWriter, WritesNothingPastItsRoomAndKeepsTheFailure)
{
    uint8_t out[4] = {9, 9, 9, 9};
    WireWriter w = WireWrite(out, 3);
    WirePutLe16(&w, 0x0201);
    WirePutLe16(&w, 0x0403); // only one byte of room is left
    EXPECT_TRUE(w.failed);
    WirePut8(&w, 5); // would fit, but the record is spoilt already
    WirePutZeros(&w, 1);
    EXPECT_EQ(2u, w.used);
    EXPECT_EQ(Hex("01 02 09 09"), Bytes(out, out + 4));
}

TEST(WireWriter, IsNotFooledByASizeThatWouldWrapAround)
{
    uint8_t out[4] = {9, 9, 9, 9};
    WireWriter w = WireWrite(out, sizeof out);
    WirePut8(&w, 1);
    WirePutZeros(&w, SIZE_MAX);
    EXPECT_TRUE(w.failed);
    EXPECT_EQ(1u, w.used);
    w = WireWrite(out, sizeof out);
    WirePutBytes(&w, out, 0);
    EXPECT_FALSE(w.failed);
}
