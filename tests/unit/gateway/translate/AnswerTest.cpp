#include "protocol/FunctionLayouts.h"
#include "tests/unit/gateway/translate/Samples.h"

using namespace gateway;

namespace
{
// Tag 7, the function, the status, the data.
Bytes Reply(unsigned function, int status, const Bytes &data = {})
{
    return Hex("0700") + Le16(function) + Le16(static_cast<uint16_t>(status)) + data;
}

std::string Answer(uint16_t function, const Bytes &payload)
{
    return JsonText(AnswerJson(function, payload));
}

// How often a field has a value of its own.
size_t Values(const protocol::Layout &layout)
{
    size_t count = 0;
    for (const protocol::FieldLayout &field : layout)
        count += field.type != protocol::Type::Zeros && field.type != protocol::Type::Always &&
                 field.type != protocol::Type::Length;
    return count;
}
} // namespace

TEST(Answer, HasStatusAndNamedFields)
{
    EXPECT_EQ("{\"ok\":true,\"function\":\"traffic-rates\",\"number\":58,\"status\":0,"
              "\"fields\":{\"down\":18446744073709551615,\"up\":258}}",
              Answer(58, Reply(58, 0, Hex("ffffffffffffffff 0201000000000000"))));
    EXPECT_EQ("{\"ok\":true,\"function\":\"set-led\",\"number\":23,\"status\":0}", Answer(23, Reply(23, 0)));
    EXPECT_EQ("{\"ok\":true,\"function\":\"led\",\"number\":22,\"status\":-1,\"fields\":{\"switch\":\"on\"}}",
              Answer(22, Reply(22, -1, Hex("01"))));
}

TEST(Answer, SaysWhatItsStatusMeans)
{
    EXPECT_EQ("{\"ok\":true,\"function\":\"set-surf-rules\",\"number\":69,\"status\":4,"
              "\"meaning\":\"an item lacks MAC\"}",
              Answer(69, Reply(69, 4)));
    EXPECT_EQ("{\"ok\":true,\"function\":\"identity\",\"number\":2,\"status\":7,\"meaning\":\"not supported\"}",
              Answer(2, Reply(2, 7)));
    EXPECT_EQ("{\"ok\":true,\"function\":\"config-data\",\"number\":87,\"status\":1,"
              "\"meaning\":\"the text is no JSON or has no value_func61\"}",
              Answer(87, Reply(87, 1)));
}

TEST(Answer, ThatIsFaultyHasItsProblemsAndItsBytes)
{
    EXPECT_EQ("{\"ok\":true,\"function\":\"led\",\"number\":22,\"status\":0,"
              "\"problems\":[\"2 bytes of data instead of 1\"],\"raw\":\"0700160000000101\"}",
              Answer(22, Reply(22, 0, Hex("0101"))));
    EXPECT_EQ("{\"ok\":true,\"function\":\"led\",\"number\":22,\"status\":0,"
              "\"fields\":{\"switch\":\"on\"},\"problems\":[\"the reply names function 30\"],"
              "\"raw\":\"07001e00000001\"}",
              Answer(22, Reply(30, 0, Hex("01"))));
}

TEST(Answer, ThatIsNoneIsAFault)
{
    EXPECT_EQ("{\"ok\":false,\"error\":{\"code\":\"refused\",\"sentence\":\"the router could not read the request: "
              "length error\"}}",
              Answer(22, Text("length error")));
    for (size_t size = 0; size < 6; size++)
        EXPECT_EQ("{\"ok\":false,\"error\":{\"code\":\"refused\",\"sentence\":\"the router's reply is cut off\"}}",
                  Answer(22, Bytes(size)))
            << size;
}

TEST(Answer, HasTextsThatAreNotUtf8)
{
    const Bytes name = Text("caf\xE9\x01") + Bytes(59);
    EXPECT_EQ("{\"ok\":true,\"function\":\"device-name\",\"number\":36,\"status\":0,"
              "\"fields\":{\"name\":\"caf\xC3\xA9\\u0001\"}}",
              Answer(36, Reply(36, 0, name)));
}

TEST(EveryAnswer, HasTheFieldsOfItsLayout)
{
    size_t fixed = 0;
    for (const protocol::Function &function : protocol::kFunctions) {
        if (!function.Supported() || function.status == STATUS_NONE) continue;
        const bool known = protocol::IsFixed(function.layout.reply);
        const size_t size = known ? protocol::FixedSize(function.layout.reply) : 64;
        const Json answer = AnswerJson(static_cast<uint16_t>(function.id), Reply(function.id, 0, Bytes(size)));
        EXPECT_EQ(function.name, answer["function"].get<std::string>());
        EXPECT_EQ(0, answer["status"]);
        if (!known || Values(function.layout.reply) == 0) continue;
        fixed++;
        EXPECT_EQ(Values(function.layout.reply), answer["fields"].size()) << answer;
        EXPECT_FALSE(answer.contains("problems")) << answer;
    }
    EXPECT_LT(20u, fixed);
}

TEST(EveryAnswer, IsAnswerOrFaultHoweverItIsCut)
{
    for (const protocol::Function &function : protocol::kFunctions)
        for (size_t size = 0; size < 320; size += size < 12 ? 1 : 7) {
            Bytes payload = Reply(function.id, 0, Repeated(Hex("ff 80"), 160));
            payload.resize(size);
            const Json answer = AnswerJson(static_cast<uint16_t>(function.id), payload);
            EXPECT_EQ(size >= 6, answer["ok"].get<bool>()) << function.id << ' ' << size;
            EXPECT_EQ(answer, Json::parse(JsonText(answer)));
        }
}

TEST(SentQuestion, ThatNobodyAnswersHasItsFunction)
{
    EXPECT_EQ("{\"ok\":true,\"function\":\"no-operation-40\",\"number\":40}", JsonText(SentJson(40)));
}
