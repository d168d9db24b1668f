#include "protocol/FieldValues.h"
#include "protocol/RecordLayouts.h"
#include "tests/support/Frames.h"

using namespace protocol;

// The bytes of a word, empty when it is refused.
static Bytes Put(const FieldLayout &field, const std::string &text)
{
    Bytes bytes;
    std::string error;
    return PutValue(field, text, &bytes, &error) ? bytes : Bytes();
}

static std::string ErrorOf(const FieldLayout &field, const std::string &text)
{
    Bytes bytes;
    std::string error;
    EXPECT_FALSE(PutValue(field, text, &bytes, &error)) << text;
    EXPECT_EQ(Bytes(), bytes) << text;
    return error;
}

// The value of a field that takes all of `hex`.
static Field Take(const FieldLayout &field, const std::string &hex)
{
    const Bytes bytes = Hex(hex);
    WireReader r = WireRead(bytes.data(), bytes.size());
    Field value;
    EXPECT_TRUE(TakeValue(field, &r, &value)) << hex;
    EXPECT_FALSE(r.failed) << hex;
    EXPECT_EQ(0u, r.left) << hex;
    EXPECT_EQ(field.name, value.name);
    return value;
}

namespace
{
struct Pair {
    FieldLayout field;
    const char *text;
    const char *hex;
    Field::Kind kind;
};
constexpr Field::Kind kNumber = Field::Kind::Number;
constexpr Field::Kind kText = Field::Kind::Text;
} // namespace

TEST(FieldValues, AreTheSameReadAndWritten)
{
    const Pair kPairs[] = {
        {Number(Type::U8, "x", "", ""), "255", "ff", kNumber},
        {Number(Type::U16, "x", "", ""), "4660", "34 12", kNumber},
        {Number(Type::I16, "x", "", ""), "-2", "fe ff", kNumber},
        {Number(Type::I16, "x", "", ""), "-32768", "00 80", kNumber},
        {Number(Type::U32, "x", "", ""), "4294967295", "ff ff ff ff", kNumber},
        {Number(Type::U32, "x", "", ""), "305419896", "78 56 34 12", kNumber},
        {Number(Type::I32, "x", "", ""), "-71", "b9 ff ff ff", kNumber},
        {Number(Type::U64, "x", "", ""), "18446744073709551615", "ff ff ff ff ff ff ff ff", kNumber},
        {Number(Type::U64, "x", "", ""), "9223372036854775808", "00 00 00 00 00 00 00 80", kNumber},
        {Number(Type::I64, "x", "", ""), "-9223372036854775808", "00 00 00 00 00 00 00 80", kNumber},
        {Number(Type::I64, "x", "", ""), "1000000", "40 42 0f 00 00 00 00 00", kNumber},
        {Switch("x", ""), "on", "01", kText},
        {Switch("x", ""), "off", "00", kText},
        {Switch("x", ""), "2", "02", kNumber},
        {Named("x", kWanModes, ""), "pppoe", "02", kText},
        {Ip("x", ""), "192.168.1.20", "14 01 a8 c0", kText},
        {Mac("x", ""), "02:1a:2b:00:00:01", "02 1a 2b 00 00 01", kText},
        {Text("x", 4, ""), "ab", "61 62 00 00", kText},
        {Text("x", 4, ""), "abcd", "61 62 63 64", kText},
        {Opaque("x", 2, ""), "0a0b", "0a 0b", kText},
        {TextToEnd("x", ""), "a b", "61 20 62", kText},
        {TextToEnd("x", ""), "", "", kText},
        {LongText("x", ""), "{}", "02 00 7b 7d", kText},
        {LongText("x", ""), "", "00 00", kText},
    };
    for (const Pair &pair : kPairs) {
        EXPECT_EQ(Hex(pair.hex), Put(pair.field, pair.text)) << pair.text;
        const Field value = Take(pair.field, pair.hex);
        EXPECT_EQ(pair.text, value.value) << pair.hex;
        EXPECT_EQ(pair.kind, value.kind) << pair.hex;
    }
}

TEST(FieldValues, TakeOtherSpellingsOfNumbersMacsAndSwitches)
{
    EXPECT_EQ(Hex("34 12"), Put(Number(Type::U16, "x", "", ""), "0x1234"));
    EXPECT_EQ(Hex("ff ff ff ff ff ff ff ff"), Put(Number(Type::U64, "x", "", ""), "0xffffffffffffffff"));
    EXPECT_EQ(Hex("02 1a 2b 00 00 01"), Put(Mac("x", ""), "021A2B000001"));
    EXPECT_EQ(Hex("01"), Put(Switch("x", ""), "1"));
    EXPECT_EQ(Hex("0a 00"), Put(Opaque("x", 2, ""), "0a"));
}

TEST(FieldValues, ShowDatesAndBytesThatAreOnlyReceived)
{
    EXPECT_EQ("2024-06-01", Take(Date("x", ""), "14 18 06 01").value);
    EXPECT_EQ("0102ff", Take(BytesToEnd("x", ""), "01 02 ff").value);
    EXPECT_EQ("x: cannot be given", ErrorOf(Date("x", ""), "2024-06-01"));
    EXPECT_EQ("x: cannot be given", ErrorOf(BytesToEnd("x", ""), "00"));
}

TEST(FieldValues, EndATextAtItsFirstZeroByte)
{
    EXPECT_EQ("a", Take(Text("x", 4, ""), "61 00 62 00").value);
}

TEST(FieldValues, GiveNumbersTheirUnits)
{
    EXPECT_EQ("MHz", Take(Number(Type::U16, "x", "MHz", ""), "70 03").unit);
    EXPECT_EQ("dBm", Take(Number(Type::I32, "x", "dBm", ""), "b9 ff ff ff").unit);
}

TEST(FieldValues, RefuseValuesOfTheWrongTypeByName)
{
    for (const char *bad : {"", "x", "-1", "65536", "1 ", "1.5", "99999999999999999999"})
        EXPECT_EQ(std::string("wan: '") + bad + "' is not a number from 0 to 65535",
                  ErrorOf(Number(Type::U16, "wan", "", ""), bad));
    EXPECT_EQ("x: '-32769' is not a number from -32768 to 32767", ErrorOf(Number(Type::I16, "x", "", ""), "-32769"));
    EXPECT_EQ("x: '4294967296' is not a number from 0 to 4294967295",
              ErrorOf(Number(Type::U32, "x", "", ""), "4294967296"));
    EXPECT_EQ("x: '2147483648' is not a number from -2147483648 to 2147483647",
              ErrorOf(Number(Type::I32, "x", "", ""), "2147483648"));
    for (const char *bad : {"-1", "18446744073709551616", "1x", "0x", "+18446744073709551615"})
        EXPECT_EQ(std::string("x: '") + bad + "' is not a number from 0 to 18446744073709551615",
                  ErrorOf(Number(Type::U64, "x", "", ""), bad));
    EXPECT_EQ("x: '9223372036854775808' is not a number from -9223372036854775808 to 9223372036854775807",
              ErrorOf(Number(Type::I64, "x", "", ""), "9223372036854775808"));
    for (const char *bad : {"maybe", "ON", "256", ""})
        EXPECT_EQ(std::string("led: '") + bad + "' is neither one of off, on, nor a number from 0 to 255",
                  ErrorOf(Switch("led", ""), bad));
    for (const char *bad : {"router", "1.2.3", "1.2.3.256", "1.2.3.4.5", ""})
        EXPECT_EQ(std::string("host: '") + bad + "' is not an IPv4 address such as 192.168.1.20",
                  ErrorOf(Ip("host", ""), bad));
    for (const char *bad :
         {"02:1a:2b:00:00", "02:1a:2b:00:00:0g", "02:1a2b:000001", "021a2b00000102", "02-1a-2b-00-00-01", ""})
        EXPECT_EQ(std::string("mac: '") + bad + "' is not a MAC such as 02:1A:2B:00:00:01",
                  ErrorOf(Mac("mac", ""), bad));
    EXPECT_EQ("ssid: 5 bytes, and there is room for 4", ErrorOf(Text("ssid", 4, ""), "Home1"));
    EXPECT_EQ("x: 3 bytes, and there is room for 2", ErrorOf(Opaque("x", 2, ""), "010203"));
    EXPECT_EQ("x: '0g' is not hexadecimal", ErrorOf(Opaque("x", 2, ""), "0g"));
    EXPECT_EQ("json: more than 65535 bytes", ErrorOf(LongText("json", ""), std::string(65536, 'a')));
}

TEST(FieldValues, HaveDefaults)
{
    const auto initial = [](const FieldLayout &field) {
        Bytes bytes;
        PutInitial(field, &bytes);
        return bytes;
    };
    EXPECT_EQ(Hex("00 00"), initial(Number(Type::U16, "x", "", "")));
    EXPECT_EQ(Hex("38 00"), initial(Number(Type::U16, "x", "", "", 56)));
    EXPECT_EQ(Bytes(16), initial(Zeros(16)));
    EXPECT_EQ(Bytes(6), initial(Mac("x", "")));
    EXPECT_EQ(Bytes(64), initial(Text("x", 64, "")));
    EXPECT_EQ(Bytes(), initial(TextToEnd("x", "")));
    EXPECT_EQ(Bytes(2), initial(LongText("x", "")));
}

TEST(FieldValues, FailTheReaderWhenBytesAreMissing)
{
    for (const FieldLayout &field :
         {Number(Type::U16, "x", "", ""), Mac("x", ""), Text("x", 3, ""), LongText("x", "")}) {
        const Bytes one = {1};
        WireReader r = WireRead(one.data(), one.size());
        Field value;
        TakeValue(field, &r, &value);
        EXPECT_TRUE(r.failed);
    }
}
