#include "core/Common.h"

#include <cstring>

#include "tests/unit/agent/AgentTest.h"

namespace
{

// The vectors of RFC 4648, section 10, and the two last characters of the alphabet.
const struct {
    const char *plain;
    const char *text;
} kVectors[] = {
    {"", ""},
    {"f", "Zg=="},
    {"fo", "Zm8="},
    {"foo", "Zm9v"},
    {"foob", "Zm9vYg=="},
    {"fooba", "Zm9vYmE="},
    {"foobar", "Zm9vYmFy"},
    {"\xfb\xff\xbf", "+/+/"},
};

int Decode(const std::string &text, Bytes *out)
{
    uint8_t room[64];
    size_t length = 0;
    const int result = Base64Decode(text.data(), text.size(), room, sizeof room, &length);
    if (result == 0) out->assign(room, room + length);
    return result;
}

} // namespace

TEST(Base64, EncodesTheVectorsOfTheStandard)
{
    for (const auto &row : kVectors) {
        char out[16];
        size_t length = 99;
        ASSERT_EQ(
            0, Base64Encode(reinterpret_cast<const uint8_t *>(row.plain), strlen(row.plain), out, sizeof out, &length));
        EXPECT_EQ(row.text, std::string(out, length));
    }
}

TEST(Base64, DecodesTheVectorsOfTheStandard)
{
    for (const auto &row : kVectors) {
        Bytes out = {0};
        ASSERT_EQ(0, Decode(row.text, &out)) << row.text;
        EXPECT_EQ(row.plain, std::string(out.begin(), out.end()));
    }
}

TEST(Base64, EncoderReportsTheSizeAndWritesNothingWhenTheRoomIsTooSmall)
{
    const uint8_t plain[] = {'f', 'o', 'o', 'b'};
    char out[8] = {'#', '#', '#', '#', '#', '#', '#', '#'};
    for (size_t capacity = 0; capacity < 8; capacity++) {
        size_t length = 0;
        EXPECT_EQ(-1, Base64Encode(plain, sizeof plain, out, capacity, &length));
        EXPECT_EQ(8u, length);
    }
    EXPECT_EQ("########", std::string(out, 8));
    size_t length = 0;
    EXPECT_EQ(0, Base64Encode(plain, sizeof plain, out, 8, &length));
    EXPECT_EQ(8u, length);
}

TEST(Base64, DecoderReportsTheSizeAndWritesNothingWhenTheRoomIsTooSmall)
{
    uint8_t out[5] = {1, 1, 1, 1, 1};
    for (size_t capacity = 0; capacity < 5; capacity++) {
        size_t length = 0;
        EXPECT_EQ(-1, Base64Decode("Zm9vYmE=", 8, out, capacity, &length));
        EXPECT_EQ(5u, length);
    }
    EXPECT_EQ(Hex("01 01 01 01 01"), Bytes(out, out + 5));
    size_t length = 0;
    EXPECT_EQ(0, Base64Decode("Zm9vYmE=", 8, out, 5, &length));
    EXPECT_EQ(0, memcmp(out, "fooba", 5));
}

TEST(Base64, SizesCanBeAskedForWithoutRoom)
{
    const uint8_t plain[] = {'f'};
    size_t length = 0;
    EXPECT_EQ(-1, Base64Encode(plain, 1, nullptr, 0, &length));
    EXPECT_EQ(4u, length);
    EXPECT_EQ(-1, Base64Decode("Zg==", 4, nullptr, 0, &length));
    EXPECT_EQ(1u, length);
}

TEST(Base64, DecoderSkipsLineBreaksOfEitherKindAnywhere)
{
    for (const char *text : {"Zm9v\r\nYmFy", "Zm9v\nYmFy", "\nZm\r\n9vYmF\ny\r\n", "\r\n\r\nZm9vYmFy\n\n"}) {
        Bytes out;
        ASSERT_EQ(0, Decode(text, &out)) << text;
        EXPECT_EQ("foobar", std::string(out.begin(), out.end()));
    }
    Bytes out;
    ASSERT_EQ(0, Decode("Zg=\r\n=", &out));
    EXPECT_EQ("f", std::string(out.begin(), out.end()));
}

TEST(Base64, DecoderRefusesCharactersOutsideTheAlphabet)
{
    Bytes out;
    for (const char *text : {"Zm9 ", "Zm-v", "Zm_v", "Zm9v\rYmFy", "Zm\t9v", "Zm9\x80", "Zm9v\r"})
        EXPECT_EQ(-2, Decode(text, &out)) << text;
    EXPECT_EQ(-2, Decode(std::string("Zm\0v", 4), &out));
}

TEST(Base64, DecoderRefusesPaddingInTheWrongPlace)
{
    Bytes out;
    for (const char *text :
         {"=", "====", "Z===", "Zg=", "Zg=v", "Zg==Zg==", "Zm8=Zg==", "Zm9v=", "Zg===", "Zg====", "Zg====mmFmmF9v"})
        EXPECT_EQ(-2, Decode(text, &out)) << text;
}

TEST(Base64, DecoderRefusesATextThatIsCutOff)
{
    Bytes out;
    for (const char *text : {"Z", "Zm", "Zm9", "Zm9vY"}) EXPECT_EQ(-2, Decode(text, &out)) << text;
}
