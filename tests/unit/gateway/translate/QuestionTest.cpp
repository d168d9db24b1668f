#include "platform/Frame.h"
#include "protocol/FrameCodec.h"
#include "protocol/FunctionDecoders.h"
#include "protocol/FunctionLayouts.h"
#include "tests/unit/gateway/translate/Samples.h"

using namespace gateway;

namespace
{
// Calls `check(row, parameter)` for every parameter of every function that has a layout of its own.
template <class Check>
void ForEachParameter(const Check &check)
{
    for (const Json &row : FunctionsJson()) {
        const protocol::Function *function = protocol::FindFunction(row["name"].get<std::string>());
        if (!function) continue; // typed: its parameters are another one's text
        for (const Json &parameter : row["parameters"]) {
            SCOPED_TRACE(row["name"].get<std::string>() + ' ' + parameter["name"].get<std::string>());
            check(row, parameter);
        }
    }
}

// All samples, one of them replaced.
Json With(const Json &row, const Json &parameter, const Json &value)
{
    Json given = SamplesOf(row);
    given[parameter["name"].get<std::string>()] = value;
    return given;
}

bool Begins(const std::string &text, const std::string &begin)
{
    return text.compare(0, begin.size(), begin) == 0;
}

// The length of the body of the frame that carries these parameters.
size_t BodyOf(const Bytes &parameters)
{
    protocol::OutFrame frame;
    frame.msgType = MSG_FUNCTION_COMMAND;
    frame.hasPlain = true;
    frame.plain = protocol::InnerRecordBytes(1, Bytes(6), Bytes(10) + parameters);
    return protocol::EncodeFrame(frame, "0123456789abcdef").size() - kFrameHeaderSize;
}
} // namespace

// ---- Every function

TEST(EveryFunction, IsAskedByNameAndByNumber)
{
    size_t asked = 0;
    for (unsigned id = 0; id < kFunctionCount; id++) {
        const protocol::Function &function = *protocol::FindFunction(id);
        if (!function.Supported()) {
            EXPECT_EQ("unknown_function: there is no function '" + std::to_string(id) + "'",
                      AskFault(std::to_string(id), Json::object()));
            continue;
        }
        asked++;
        const Json given = SamplesOf(RowOf(FunctionsJson(), function.name));
        const Question byName = MakeQuestion(function.name, given), byNumber = MakeQuestion(std::to_string(id), given);
        EXPECT_EQ(id, byName.function);
        EXPECT_EQ(id, byNumber.function);
        EXPECT_EQ(byName.parameters, byNumber.parameters) << function.name;
        EXPECT_EQ(function.status != STATUS_NONE, byName.answered) << function.name;
    }
    EXPECT_EQ(83u, asked);
    EXPECT_EQ(asked + 2, FunctionsJson().size()); // and two typed ones
}

TEST(EveryFunction, GetsItsParametersAsTheyWereGiven)
{
    for (const Json &row : FunctionsJson()) {
        const std::string name = row["name"];
        const protocol::Function *function = protocol::FindFunction(name);
        if (!function) continue;
        const Json given = SamplesOf(row);
        const Json read = FieldsJson(protocol::DecodeRequest(function->id, Asked(name, given)));
        EXPECT_EQ(given, read) << name;
    }
}

TEST(EveryFunction, TakesParametersInAnyOrder)
{
    for (const Json &row : FunctionsJson()) {
        Json turned = Json::object();
        const Json given = SamplesOf(row);
        for (auto member = given.end(); member != given.begin();) {
            --member;
            turned[member.key()] = member.value();
        }
        EXPECT_EQ(Asked(row["name"], given), Asked(row["name"], turned)) << row["name"];
    }
}

// ---- Every parameter

TEST(EveryParameter, IsMissedByItsNameUnlessItMayBeLeftOut)
{
    ForEachParameter([](const Json &row, const Json &parameter) {
        const std::string name = parameter["name"];
        Json given = SamplesOf(row);
        given.erase(name);
        EXPECT_EQ(parameter["required"] ? "bad_parameter: " + name + " is missing" : "none",
                  row["parameters"].size() == 1 && !parameter["required"] ? "none" : AskFault(row["name"], given));
    });
    for (const Json &row : FunctionsJson()) EXPECT_EQ("none", AskFault(row["name"], SamplesOf(row))) << row["name"];
}

TEST(EveryParameter, OfANumberTakesItsWholeRangeAndNoMore)
{
    size_t numbers = 0;
    ForEachParameter([&](const Json &row, const Json &parameter) {
        if (!parameter.contains("low")) return;
        numbers++;
        for (const char *end : {"low", "high"}) {
            const Json given = With(row, parameter, parameter[end]);
            const unsigned id = row["number"];
            EXPECT_EQ(given, FieldsJson(protocol::DecodeRequest(id, Asked(row["name"], given))));
        }
        const std::string name = parameter["name"];
        const uint64_t high = parameter["high"];
        const int64_t low = parameter["low"];
        if (high < UINT64_MAX) {
            EXPECT_TRUE(Begins(AskFault(row["name"], With(row, parameter, high + 1)),
                               "bad_parameter: " + name + ": '" + std::to_string(high + 1) + "' is not a number from " +
                                   std::to_string(low) + " to "));
        }
        if (low > INT64_MIN) {
            EXPECT_TRUE(Begins(AskFault(row["name"], With(row, parameter, low - 1)),
                               "bad_parameter: " + name + ": '" + std::to_string(low - 1) + "' is not a number from "));
        }
        for (const char *beyond : {"18446744073709551616", "-9223372036854775809", "1e300"})
            EXPECT_EQ("bad_parameter: " + name +
                          ": a whole number is needed, not a fraction or a number beyond 64 bits",
                      AskFault(row["name"], With(row, parameter, Json::parse(beyond))));
    });
    EXPECT_LT(20u, numbers);
}

TEST(EveryParameter, OfNamedValuesTakesEachNameAndItsNumber)
{
    size_t values = 0;
    ForEachParameter([&](const Json &row, const Json &parameter) {
        if (!parameter.contains("values")) return;
        for (size_t i = 0; i < parameter["values"].size(); i++, values++)
            EXPECT_EQ(Asked(row["name"], With(row, parameter, parameter["values"][i])),
                      Asked(row["name"], With(row, parameter, i)));
        const std::string name = parameter["name"];
        EXPECT_TRUE(Begins(AskFault(row["name"], With(row, parameter, "perhaps")),
                           "bad_parameter: " + name + ": 'perhaps' is none of " +
                               parameter["values"][0].get<std::string>() + ", "));
        EXPECT_NE("none", AskFault(row["name"], With(row, parameter, "1"))); // a number is no text
        EXPECT_NE("none", AskFault(row["name"], With(row, parameter, 256)));
    });
    EXPECT_LT(20u, values);
}

TEST(EveryParameter, OfAnotherTypeIsRefusedByItsName)
{
    ForEachParameter([](const Json &row, const Json &parameter) {
        const std::string name = parameter["name"], type = parameter["type"];
        std::vector<Json> wrong = {nullptr, true, 1.5};
        if (type != "json") wrong.insert(wrong.end(), {Json::object(), Json::array({1})});
        wrong.push_back(type == "number" ? Json("12") : Json(12));
        if (type == "ip" || type == "mac" || type == "hex") wrong.push_back("xyz");
        for (const Json &value : wrong)
            EXPECT_TRUE(Begins(AskFault(row["name"], With(row, parameter, value)), "bad_parameter: " + name + ": "))
                << value << AskFault(row["name"], With(row, parameter, value));
    });
}

TEST(EveryParameter, OfATextFitsItsRoomAndHasNoZeroCharacter)
{
    ForEachParameter([](const Json &row, const Json &parameter) {
        const std::string name = parameter["name"], type = parameter["type"];
        if (type == "text") {
            EXPECT_EQ("bad_parameter: " + name + ": a zero character in a text",
                      AskFault(row["name"], With(row, parameter, std::string("a\0b", 3))));
        }
        if (type != "text" || !parameter.contains("size")) return;
        const size_t size = parameter["size"];
        EXPECT_EQ("none", AskFault(row["name"], With(row, parameter, std::string(size, 'a'))));
        EXPECT_EQ("bad_parameter: " + name + ": " + std::to_string(size + 1) + " bytes, and there is room for " +
                      std::to_string(size),
                  AskFault(row["name"], With(row, parameter, std::string(size + 1, 'a'))));
    });
}

// ---- Single questions

TEST(Question, HasTheBytesOfTheProtocol)
{
    // 192.168.1.20 in reverse, 16 bytes of zero, size 1000, count 3.
    EXPECT_EQ(Hex("1401a8c0") + Bytes(16) + Hex("e803 0300"),
              Asked("ping", {{"count", 3}, {"host", "192.168.1.20"}, {"size", 1000}}));
    EXPECT_EQ(Hex("1401a8c0") + Bytes(16) + Hex("3800 0400"), Asked("ping", {{"host", "192.168.1.20"}}));
    EXPECT_EQ(Hex("021a2b000014") + Hex("ffffffffffffff7f 0000000000000080"),
              Asked("set-device-limits", {{"mac", "02:1A:2B:00:00:14"}, {"up", INT64_MAX}, {"down", INT64_MIN}}));
    EXPECT_EQ(Hex("ffffffffffffffff"), Asked("set-time", {{"time", UINT64_MAX}}));
    EXPECT_EQ(Hex("00") + Text("http://h/rom"), Asked("update-rom", {{"source", "http://h/rom"}}));
    EXPECT_EQ(Bytes(), Asked("identity", Json::object()));
}

TEST(Question, TakesADocumentAsATextOrAsItself)
{
    const Bytes wanted = Hex("1400") + Text("{\"value_func61\":\"u\"}"); // 20 characters
    EXPECT_EQ(wanted, Asked("config-data", {{"json", "{\"value_func61\":\"u\"}"}}));
    EXPECT_EQ(wanted, Asked("config-data", {{"json", {{"value_func61", "u"}}}}));
    EXPECT_EQ(Text("[1]"), Asked("set-surf-rules", {{"json", Json::array({1})}}));
    EXPECT_EQ("bad_parameter: json: a JSON text, an object or a list is needed, not a number",
              AskFault("config-data", {{"json", 1}}));
}

TEST(Question, WithParametersThatThereAreNotIsRefused)
{
    EXPECT_EQ("bad_parameter: hots: ping has no such parameter; it has host, size, count",
              AskFault("ping", {{"hots", "1.1.1.1"}}));
    EXPECT_EQ("bad_parameter: x: identity has no such parameter; it has none", AskFault("identity", {{"x", 1}}));
    EXPECT_EQ("bad_parameter: : identity has no such parameter; it has none", AskFault("identity", {{"", 1}}));
    EXPECT_EQ("bad_parameter: the parameters of ping are no JSON object", AskFault("ping", Json::array({1})));
    EXPECT_EQ("bad_parameter: the parameters of ping are no JSON object", AskFault("ping", nullptr));
    EXPECT_EQ("bad_parameter: nothing is given", AskFault("set-wan-config", Json::object()));
}

TEST(Question, ToNoFunctionIsRefused)
{
    for (const std::string name : {"pong", "", "89", "65535", "65536", "-1", "1.0", "Ping", " ping"})
        EXPECT_EQ("unknown_function: there is no function '" + name + "'", AskFault(name, Json::object()));
    EXPECT_LT(AskFault(std::string(100000, 'x'), Json::object()).size(), 200u);
    // A command is none.
    EXPECT_EQ("unknown_function: there is no function 'forward'", AskFault("forward", Json::object()));
}

TEST(Question, IsAsLongAsARouterTakesAndNoLonger)
{
    const Bytes most = Asked("set-surf-rules", {{"json", std::string(1482, 'x')}});
    EXPECT_LE(BodyOf(most), kFrameMaxReceivedBody);
    EXPECT_GT(BodyOf(most + Bytes(1)), kFrameMaxReceivedBody);
    EXPECT_EQ("bad_parameter: set-surf-rules: the parameters have 1483 bytes, and a router takes 1482 at most",
              AskFault("set-surf-rules", {{"json", std::string(1483, 'x')}}));
    EXPECT_NE("none", AskFault("config-data", {{"json", std::string(70000, 'x')}}));
}

TEST(Question, OfAVeryLongValueIsRefusedInAShortSentence)
{
    const std::string fault = AskFault("ping", {{"host", std::string(60000, '\x01')}});
    EXPECT_TRUE(Begins(fault, "bad_parameter: host: '")) << fault;
    EXPECT_LT(fault.size(), 2000u);
    EXPECT_NE(std::string::npos, fault.find("is not an IPv4 address")) << fault;
}

TEST(Question, OfALimitOrASurfRuleIsTyped)
{
    EXPECT_EQ(Text("{\"LIST\":[{\"FLAG\":\"1\",\"MAC\":\"02:1A:2B:00:00:14\",\"UP\":\"1000\",\"DOWN\":\"2000\"}]}"),
              Asked("limit", {{"action", "set"}, {"mac", "021a2b000014"}, {"up", 1000}, {"down", 2000}}));
    EXPECT_EQ(
        Text("{\"LIST\":[{\"FLAG\":\"1\",\"MAC\":\"02:1A:2B:00:00:14\",\"DAY\":\"135\",\"START\":\"21:00\","
             "\"STOP\":\"23:59\",\"ALLOW\":\"0\"}]}"),
        Asked("surf",
              {{"action", "add"}, {"mac", "021a2b000014"}, {"days", "135"}, {"start", "21:00"}, {"stop", "23:59"}}));
    const Question made = MakeQuestion("limit", {{"action", "off"}, {"mac", "021a2b000014"}});
    EXPECT_EQ(66, made.function);
    EXPECT_EQ("bad_parameter: up: a whole number is needed, not a text",
              AskFault("limit", {{"action", "set"}, {"mac", "021a2b000014"}, {"up", "1"}, {"down", 1}}));
    EXPECT_EQ("bad_parameter: mac is missing", AskFault("limit", {{"action", "off"}}));
    EXPECT_EQ("bad_parameter: action: 'on' is neither set nor off", AskFault("limit", {{"action", "on"}}));
}
