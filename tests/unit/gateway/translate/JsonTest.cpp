#include "protocol/Tree.h"
#include "tests/unit/gateway/translate/Samples.h"

using namespace gateway;

namespace
{
std::string Read(const std::string &text)
{
    std::string read;
    const std::string fault = FaultOf([&] { read = JsonText(ReadParameters(text)); });
    return fault == "none" ? read : fault;
}

std::string Nested(size_t depth, const std::string &open, const std::string &close)
{
    std::string text = "{\"a\":";
    for (size_t i = 1; i < depth; i++) text += open;
    text += "1";
    for (size_t i = 1; i < depth; i++) text += close;
    return text + "}";
}
} // namespace

TEST(ReceivedJson, IsOneObjectOrNothing)
{
    EXPECT_EQ("{\"b\":1,\"a\":\"x\"}", Read(" {\"b\":1, \"a\":\"x\"}\n"));
    EXPECT_EQ("{}", Read(""));
    EXPECT_EQ("{}", Read(" \r\n\t"));
    for (const char *text : {"[]", "1", "\"a\"", "null", "true"})
        EXPECT_EQ("bad_json: the text is no JSON object", Read(text)) << text;
    for (const std::string text :
         {"{", "{\"a\":1,}", "{'a':1}", "{\"a\":01}", "{}{}", "{\"a\":\"\xFF\"}", "{\"a\":\"\\ud800\"}", "{\"a\":NaN}",
          "{\"a\":1e999}", "{\"a\":\"\n\"}", "\xEF\xBB\xBF", "//\n{}"})
        EXPECT_EQ("bad_json: the text is no JSON", Read(text)) << text;
    EXPECT_EQ("bad_json: the text is no JSON", Read(std::string("{}\0", 3)));
}

TEST(ReceivedJson, NamesNoMemberTwice)
{
    EXPECT_EQ("bad_json: an object names a member twice", Read("{\"a\":1,\"a\":2}"));
    EXPECT_EQ("bad_json: an object names a member twice", Read("{\"a\":{\"b\":1,\"c\":1,\"b\":2}}"));
    EXPECT_EQ("bad_json: an object names a member twice", Read("{\"a\":1,\"\\u0061\":2}"));
    EXPECT_EQ("{\"a\":{\"a\":1},\"b\":{\"a\":1}}", Read("{\"a\":{\"a\":1},\"b\":{\"a\":1}}"));
}

TEST(ReceivedJson, HasBoundsOfDepthAndSize)
{
    EXPECT_EQ(Nested(8, "[", "]"), Read(Nested(8, "[", "]")));
    EXPECT_EQ(Nested(8, "{\"a\":", "}"), Read(Nested(8, "{\"a\":", "}")));
    const std::string deep = "bad_json: the text has more than 8 objects inside each other";
    EXPECT_EQ(deep, Read(Nested(9, "[", "]")));
    EXPECT_EQ(deep, Read(Nested(9, "{\"a\":", "}")));
    EXPECT_EQ(deep, Read("{\"a\":" + std::string(65000, '[')));
    const std::string value(kMaxJsonBytes - 8, 'x');
    EXPECT_EQ(kMaxJsonBytes, Read("{\"a\":\"" + value + "\"}").size());
    EXPECT_EQ("bad_json: the text has 65537 bytes, and 65536 are the most", Read("{\"a\":\"" + value + "x\"}"));
}

TEST(SentJson, HasEveryByteOfARoutersTexts)
{
    EXPECT_EQ("\"a\xC3\xBF\\u0001\xC3\xA4\"", JsonText(TextJson("a\xFF\x01\xC3\xA4")));
    EXPECT_EQ("\"\\u0000\"", JsonText(TextJson(std::string(1, '\0'))));
    EXPECT_EQ("{\"t\":\"\xEF\xBF\xBD\"}", JsonText({{"t", "\xFF"}})); // of those who did not ask TextJson()
}

TEST(SentJson, KeepsNumbersOf64Bits)
{
    const protocol::Field wide = {"u", protocol::Field::Kind::Number, "18446744073709551615", "", {}};
    EXPECT_EQ("{\"u\":18446744073709551615,\"i\":-9223372036854775808,\"f\":true}",
              JsonText(FieldsJson({wide, protocol::NumberField("i", INT64_MIN), protocol::FlagField("f", true)})));
    EXPECT_EQ("{}", JsonText(FieldsJson({})));
}
