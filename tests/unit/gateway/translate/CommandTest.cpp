#include "platform/Frame.h"
#include "protocol/FrameCodec.h"
#include "protocol/PluginCommands.h"
#include "tests/unit/gateway/translate/Samples.h"

using namespace gateway;

namespace
{
std::string Said(const std::string &name, const Json &parameters)
{
    std::string said;
    const std::string fault = FaultOf([&] {
        const Command command = MakeCommand(name, parameters);
        said = std::to_string(command.dataType) + ' ' + command.text;
    });
    return fault == "none" ? said : fault;
}
} // namespace

TEST(EveryCommand, IsMadeFromItsRow)
{
    size_t commands = 0;
    for (const Json &row : CommandsJson()) {
        const Command made = MakeCommand(row["name"], SamplesOf(row));
        EXPECT_EQ(row["command"], made.dataType);
        const Json text = Json::parse(made.text);
        EXPECT_EQ(row["parameters"].size(), text.size()) << row["name"];
        commands++;
    }
    EXPECT_EQ(10u, commands);
}

TEST(EveryCommand, NamesTheParameterThatIsMissingUnknownOrOfAnotherType)
{
    for (const Json &row : CommandsJson()) {
        const std::string command = row["name"];
        for (const Json &parameter : row["parameters"]) {
            const std::string name = parameter["name"], begin = "bad_parameter: " + name + ": ";
            Json given = SamplesOf(row);
            given.erase(name);
            EXPECT_EQ("bad_parameter: " + name + " is missing", Said(command, given)) << command;
            std::vector<Json> wrong = {nullptr, true, 1.5, Json::object(), Json::array()};
            wrong.push_back(parameter["type"] == "number" ? Json("1") : Json(1));
            if (parameter.contains("size")) wrong.push_back(std::string(parameter["size"].get<size_t>() + 1, 'x'));
            if (parameter.contains("high")) wrong.push_back(parameter["high"].get<int64_t>() + 1);
            if (parameter.contains("low")) wrong.push_back(parameter["low"].get<int64_t>() - 1);
            for (const Json &value : wrong) {
                given[name] = value;
                EXPECT_EQ(begin, Said(command, given).substr(0, begin.size())) << command << value;
            }
        }
        Json more = SamplesOf(row);
        more["more"] = 1;
        EXPECT_EQ("bad_parameter: more: " + command + " has no such parameter",
                  Said(command, more).substr(0, 43 + command.size()));
        EXPECT_EQ("bad_parameter: the parameters of " + command + " are no JSON object", Said(command, 1));
    }
}

TEST(Command, HasTheTextThatAnAgentReads)
{
    EXPECT_EQ("9 {\"FLAG\":\"1\",\"PRE_IP\":\"192.168.1.1\",\"PRE_PORT\":\"8080\",\"POST_IP\":\"192.168.2.50\","
              "\"POST_PORT\":\"80\"}",
              Said("forward", {{"action", "add"},
                               {"pre_ip", "192.168.1.1"},
                               {"pre_port", 8080},
                               {"post_ip", "192.168.2.50"},
                               {"post_port", 80}}));
    EXPECT_EQ("18 {\"func40Interval\":19}", Said("report-interval", {{"minutes", 19}}));
    EXPECT_EQ("15 {\"fromVersion\":\"a\\\"b\",\"toVersion\":\"\xC3\xA4\"}",
              Said("firmware-check", {{"from_version", "a\"b"}, {"to_version", "\xC3\xA4"}}));
}

TEST(Command, ThatThereIsNotIsRefused)
{
    EXPECT_EQ("unknown_command: there is no command 'reboot'", Said("reboot", Json::object()));
    EXPECT_EQ("unknown_command: there is no command 'limit'; it is a question", Said("limit", Json::object()));
    EXPECT_EQ("unknown_command: there is no command ''", Said("", Json::object()));
}

TEST(Command, AlwaysFitsAFrameToAnAgent)
{
    size_t longest = 0;
    for (const Json &row : CommandsJson()) {
        Json given = SamplesOf(row);
        for (const Json &parameter : row["parameters"])
            if (parameter.contains("size")) // of which each character is written as two
                given[parameter["name"].get<std::string>()] = std::string(parameter["size"].get<size_t>(), '"');
        Command command;
        const std::string fault = FaultOf([&] { command = MakeCommand(row["name"], given); });
        if (fault == "none") {
            longest = std::max(longest, command.text.size());
            protocol::OutFrame frame;
            frame.msgType = MSG_PLUG_COMMAND;
            frame.hasPlain = true;
            frame.plain = protocol::InnerRecordBytes(1, {}, Text(command.text));
            EXPECT_LE(protocol::EncodeFrame(frame, "0123456789abcdef").size(),
                      kFrameHeaderSize + kFrameMaxReceivedBody);
        } else {
            EXPECT_NE(std::string::npos, fault.find("bytes, and a router takes 1498 at most")) << row["name"];
        }
    }
    EXPECT_LT(500u, longest);
    // Control characters take six each.
    Json wide = SamplesOf(RowOf(CommandsJson(), "plugin-update"));
    for (const char *name : {"plugin_id", "to_version", "token", "url"}) wide[name] = std::string(127, '\x01');
    EXPECT_EQ("bad_parameter: plugin-update: the text has", Said("plugin-update", wide).substr(0, 42));
}

TEST(CommandResult, HasAMeaningWhereThereIsOne)
{
    EXPECT_EQ("{\"ok\":true,\"command\":\"report-interval\",\"result\":0,\"meaning\":\"done\"}",
              JsonText(ResultJson("report-interval", 18, 0)));
    EXPECT_EQ("{\"ok\":true,\"command\":\"forward\",\"result\":-77}", JsonText(ResultJson("forward", 9, -77)));
}
