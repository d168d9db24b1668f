#include "protocol/Tree.h"
#include "tests/support/Frames.h"

using namespace protocol;

TEST(Tree, WritesJsonOnOneLineWithEverythingEscaped)
{
    const Fields fields = {TextField("text", "a\"b\\c\nd\x01 \xc3\xa9 \xff"), NumberField("number", -5),
                           FlagField("flag", true), ObjectField("object", {NumberField("x", INT64_MAX)}),
                           ListField("list", {"p", "q"})};
    EXPECT_EQ("{\"text\":\"a\\\"b\\\\c\\nd\\u0001 \xc3\xa9 \\u00ff\",\"number\":-5,\"flag\":true,"
              "\"object\":{\"x\":9223372036854775807},\"list\":[\"p\",\"q\"]}",
              ToJson(fields));
}

TEST(Tree, EscapesOverlongAndTruncatedUtf8)
{
    EXPECT_EQ("{\"t\":\"\\u00c0\\u0080\"}", ToJson({TextField("t", "\xc0\x80")}));
    EXPECT_EQ("{\"t\":\"\\u00e2\\u0082\"}", ToJson({TextField("t", "\xe2\x82")}));
    EXPECT_EQ("{\"t\":\"\\u00ed\\u00a0\\u0080\"}", ToJson({TextField("t", "\xed\xa0\x80")}));
}

TEST(Tree, ReadsJsonAndFindsValuesByPath)
{
    Field json;
    ASSERT_TRUE(FieldFromJson("json", "{\"a\":[{\"b\":1},2.5,null],\"c\":true}", &json));
    const Fields fields = {json};
    EXPECT_EQ("1", At(fields, "json.a.0.b"));
    EXPECT_EQ("2.5", At(fields, "json.a.1"));
    EXPECT_EQ("null", At(fields, "json.a.2"));
    EXPECT_EQ("true", At(fields, "json.c"));
    EXPECT_EQ("(none)", At(fields, "json.a.3"));
    EXPECT_EQ("(none)", At(fields, "json.a.x"));
    EXPECT_EQ("(none)", At(fields, "json.d.e"));
    EXPECT_FALSE(FieldFromJson("json", "{\"a\":1} behind", &json));
}

TEST(Tree, AlignsLinesAndShowsUnits)
{
    EXPECT_EQ("  mhz    880 MHz\n  model  R\\x01\n",
              ToLines({NumberField("mhz", 880, "MHz"), TextField("model", "R\x01")}, 2));
}

TEST(Tree, ShowsTheLinesOfALongTextBelowItsName)
{
    EXPECT_EQ("  text\n"
              "    one\\x09\n"
              "\n"
              "    two\n"
              "  n     1\n",
              ToLines({TextField("text", "one\t\n\ntwo\n"), NumberField("n", 1)}, 2));
}
