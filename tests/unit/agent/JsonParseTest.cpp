// The bounded parse of received JSON, and that every reader of the agent goes through it.
#include "core/JsonParse.h"

#include <cjson/cJSON.h>
#include <cstring>
#include <pthread.h>

#include "comm/AutoReport.h"
#include "comm/CommHandle.h"
#include "functions/RateTest.h"
#include "plugin/ParseJson.h"
#include "rules/Bandwidth.h"
#include "rules/PortForward.h"
#include "rules/SurfRules.h"
#include "tests/unit/agent/AgentTest.h"

namespace
{
bool Parses(const std::string &text, bool whole = false)
{
    cJSON *document = JsonParse(text.c_str(), whole);
    cJSON_Delete(document);
    return document != nullptr;
}

std::string Nested(size_t depth)
{
    return std::string(depth, '[') + std::string(depth, ']');
}
} // namespace

TEST(JsonParse, AcceptsThirtyTwoNestedBracketsAndNoMore)
{
    EXPECT_TRUE(Parses(Nested(32)));
    EXPECT_FALSE(Parses(Nested(33)));
    EXPECT_FALSE(Parses(std::string(33, '[')));
    std::string objects = "1";
    for (int i = 0; i < 32; i++) objects = "{\"a\":" + objects + "}";
    EXPECT_TRUE(Parses(objects));
    EXPECT_FALSE(Parses("[" + objects + "]"));
}

TEST(JsonParse, CountsNestedBracketsNotThoseBesideEachOther)
{
    std::string list = "[";
    for (int i = 0; i < 1000; i++) list += "[],{},";
    EXPECT_TRUE(Parses(list + "1]"));
}

TEST(JsonParse, BracketsInTextsAreText)
{
    EXPECT_TRUE(Parses("{\"name\":\"" + std::string(100, '[') + std::string(100, '{') + "\"}"));
    EXPECT_TRUE(Parses("[\"\\\"" + std::string(100, '[') + "\\\\\"]"));
}

TEST(JsonParse, ClosingBracketsInTextsHideNoOpeningOnes)
{
    std::string text = "1";
    for (int i = 0; i < 200; i++) text = "[\"]]]}}}\"," + text + "]";
    EXPECT_FALSE(Parses(text));
    text = "1";
    for (int i = 0; i < 200; i++) text = "[\"\\\"]\"," + text + "]"; // an escaped quote ends no text
    EXPECT_FALSE(Parses(text));
    text = "1";
    for (int i = 0; i < 200; i++) text = "[\"\\\\\",\"]\"," + text + "]"; // a quote behind an escaped backslash does
    EXPECT_FALSE(Parses(text));
}

TEST(JsonParse, ReturnsNothingForATextThatIsNoJson)
{
    EXPECT_EQ(nullptr, JsonParse(nullptr));
    for (const char *text : {"", " ", "FLAG", "{", "{]", "\"", "\"\\", "{\"a\":\"\\"})
        EXPECT_FALSE(Parses(text)) << text;
}

TEST(JsonParse, RubbishAfterTheDocumentIsRefusedWhenAskedTo)
{
    EXPECT_TRUE(Parses("{} x"));
    EXPECT_FALSE(Parses("{} x", true));
    EXPECT_TRUE(Parses("{} \n", true));
}

// ---- The readers, each on a stack as the agent's threads have it ----

namespace
{
struct Reader {
    const char *name;
    std::string document; // which it takes, in which @ is replaced by a member's value
    size_t around;        // brackets around the @
    std::string unnested; // no document, but brackets; 100,000 of them unless it takes only so many bytes
    int taken;            // its result
    int refused;
    int (*read)(const std::string &text);
};

int ReadAnswer(const std::string &text)
{
    const std::string answer = std::string(1, '\0') + text;
    Comm_get_88Conf(reinterpret_cast<const uint8_t *>(answer.data()), answer.size());
    return AutoReportConfNow().referNum;
}

int ReadAutoReport(const std::string &text)
{
    static AutoReportConf conf;
    static char request[kMaxAutoReportText + 1];
    return AutoReportRequest(text.c_str(), static_cast<int>(text.size()), &conf, request);
}

int ReadRateConfiguration(const std::string &text)
{
    const int result = ParseConfigData(text.c_str(), static_cast<int>(text.size()));
    FakeClockAuto(true);
    StopRateTest();
    FakeClockAuto(false);
    return result;
}

const size_t kMany = 100000;

std::vector<Reader> Readers()
{
    const std::string many(kMany, '[');
    const std::string most(1000, '[');
    return {
        {"port forwarding", "{\"x\":@}", 1, many, PORT_FORWARD_NO_FLAG, PORT_FORWARD_NO_JSON,
         [](const std::string &text) { return ParseRouteParam(text.c_str()); }},
        {"bandwidth", "{\"LIST\":[],\"x\":@}", 1, many, BANDWIDTH_DONE, BANDWIDTH_NO_JSON,
         [](const std::string &text) { return ParseTcParam(text.c_str()); }},
        {"surf rules", "{\"LIST\":[],\"x\":@}", 1, many, SURF_DONE, SURF_NOT_PARSED,
         [](const std::string &text) { return ParseSurfRulesParam(text.c_str()); }},
        {"plugin commands", "{\"result\":1,\"x\":@}", 1, many, 0, -1,
         [](const std::string &text) { return ParserPlug(PLUG_ONLINE, text.c_str()); }},
        {"rate test", "{\"value_func61\":\"http://ab\",\"x\":@}", 1, most, 0, 1, ReadRateConfiguration},
        {"auto report", "{\"referNum\":100,\"x\":@}", 1, most, 0, 1, ReadAutoReport},
        {"auto report of the peer", "{\"referNum\":100,\"x\":@}", 1, most, 100, -1, ReadAnswer},
    };
}

struct Call {
    const Reader *reader;
    std::string text;
    int result;
};

int OnSmallStack(const Reader &reader, const std::string &text)
{
    Call call = {&reader, text, 0};
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, 128 * 1024);
    pthread_t thread;
    const auto body = [](void *argument) -> void * {
        Call *request = static_cast<Call *>(argument);
        request->result = request->reader->read(request->text);
        return nullptr;
    };
    EXPECT_EQ(0, pthread_create(&thread, &attributes, body, &call));
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
    return call.result;
}

class JsonReaders : public AgentTest
{
};
} // namespace

TEST_F(JsonReaders, RefuseATextThatNestsTooDeep)
{
    for (const Reader &reader : Readers()) {
        const auto with = [&](size_t depth) {
            std::string text = reader.document;
            return text.replace(text.find('@'), 1, Nested(depth - reader.around));
        };
        EXPECT_EQ(reader.taken, OnSmallStack(reader, with(32))) << reader.name;
        EXPECT_EQ(reader.refused, OnSmallStack(reader, with(33))) << reader.name;
        EXPECT_EQ(reader.refused, OnSmallStack(reader, with(400))) << reader.name;
    }
}

TEST_F(JsonReaders, RefuseAHundredThousandBrackets)
{
    for (const Reader &reader : Readers()) {
        EXPECT_EQ(reader.refused, OnSmallStack(reader, reader.unnested)) << reader.name;
        EXPECT_EQ(reader.refused, OnSmallStack(reader, std::string(kMany, '['))) << reader.name;
        EXPECT_EQ(reader.refused, OnSmallStack(reader, std::string(kMany, '{'))) << reader.name;
        EXPECT_EQ(reader.refused, OnSmallStack(reader, Nested(kMany / 2))) << reader.name;
    }
}
