#include <algorithm>
#include <gtest/gtest.h>

#include "platform/Frame.h"
#include "protocol/Names.h"
#include "protocol/PluginCommands.h"
#include "protocol/UploadDecoders.h"

using namespace protocol;

namespace
{
using Values = std::vector<std::optional<std::string>>;

// The text, or the reason behind "refused: ".
std::string Text(const std::string &name, const Values &values, const char *CommandMember::*named)
{
    const PluginCommand *command = FindPluginCommand(name);
    std::string text, error;
    if (!command) return "none";
    return MakeCommandText(*command, values, named, &text, &error) ? text : "refused: " + error;
}

std::string Text(const std::string &name, const Values &values)
{
    return Text(name, values, &CommandMember::parameter);
}
} // namespace

TEST(PluginCommandTable, HasEveryDataTypeThatIsACommand)
{
    for (const std::string &name : PluginTypeNames()) {
        uint8_t type = 0;
        ASSERT_TRUE(ParsePluginType(name, &type));
        const bool report = FindUpload(MSG_UP, type) != nullptr;
        const auto rows = std::count_if(kPluginCommands.begin(), kPluginCommands.end(), [&](const PluginCommand &row) {
            return row.function == 0 && row.dataType == type;
        });
        EXPECT_EQ(report ? 0 : 1, rows) << name;
    }
    EXPECT_EQ(nullptr, FindPluginCommand("frame"));
}

TEST(PluginCommandTable, NamesEachParameterOnce)
{
    for (const PluginCommand &command : kPluginCommands) {
        std::vector<std::string> names;
        for (const CommandMember *member : SettableMembers(command)) names.push_back(member->parameter);
        EXPECT_FALSE(names.empty()) << command.name;
        EXPECT_EQ(0, std::count(names.begin(), names.end(), "")) << command.name;
        std::sort(names.begin(), names.end());
        EXPECT_EQ(names.end(), std::unique(names.begin(), names.end())) << command.name;
    }
}

TEST(PluginCommandText, OfTheAgentsUpdateHasTheMembersThatItReads)
{
    EXPECT_EQ("{\"pluginID\":\"p\",\"fromVersion\":\"2.0.0.7\",\"toVersion\":\"2.0.0.8\"}",
              Text("plugin-update-check", {"p", "2.0.0.7", "2.0.0.8"}));
    EXPECT_EQ("{\"pluginID\":\"p\",\"fromVersion\":\"2.0.0.7\",\"toVersion\":\"2.0.0.8\",\"url\":\"http://h/f\","
              "\"fileLength\":10,\"fileMD5\":\"00\",\"token\":\"t\"}",
              Text("plugin-update", {"p", "2.0.0.7", "2.0.0.8", "http://h/f", "10", "00", "t"}));
}

TEST(PluginCommandText, OfDevicesHasDigitsWithoutColons)
{
    EXPECT_EQ("{\"mac\":\"021A2B000014\"}", Text("vip", {"02:1a:2b:00:00:14"}));
    EXPECT_EQ("{\"mac\":\"021A2B000014\"}", Text("re-recognition", {"021a2b000014"}));
    EXPECT_EQ("{\"mac\":\"021A2B000014\",\"result\":255}", Text("recognition", {"021a2b000014", "255"}));
    EXPECT_EQ("refused: result: '256' is not a number from 0 to 255", Text("recognition", {"021a2b000014", "256"}));
    EXPECT_EQ("{\"result\":-1}", Text("online", {"-1"}));
}

TEST(PluginCommandText, LacksNothingThatMustBeGiven)
{
    for (const PluginCommand &command : kPluginCommands) {
        const CommandMember *first = SettableMembers(command)[0];
        EXPECT_EQ("refused: " + std::string(first->parameter) + " is missing", Text(command.name, {})) << command.name;
        EXPECT_EQ("refused: " + std::string(first->parameter) + " is missing", Text(command.name, {std::nullopt}));
    }
    EXPECT_EQ("refused: minutes is missing", Text("report-interval", {}));
}

TEST(PluginCommandText, MayLeaveOutTheFiguresOfALimit)
{
    EXPECT_EQ("{\"LIST\":[{\"FLAG\":\"0\",\"MAC\":\"02:1A:2B:00:00:14\",\"UP\":\"0\",\"DOWN\":\"0\"}]}",
              Text("limit", {"off", "021a2b000014"}));
    EXPECT_EQ("{\"LIST\":[{\"FLAG\":\"1\",\"MAC\":\"02:1A:2B:00:00:14\",\"UP\":\"0\",\"DOWN\":\"5\"}]}",
              Text("limit", {"set", "021a2b000014", std::nullopt, "5"}));
}

TEST(PluginCommandText, CallsAMemberAsItsReaderKnowsIt)
{
    const Values values = {"add", "here", "1", "1.1.1.1", "1"};
    EXPECT_EQ("refused: pre_ip: 'here' is not an IPv4 address such as 192.168.1.20", Text("forward", values));
    EXPECT_EQ("refused: PRE_IP: 'here' is not an IPv4 address such as 192.168.1.20",
              Text("forward", values, &CommandMember::label));
    EXPECT_EQ("refused: action: 'set' is neither add nor del", Text("forward", {"set"}));
    EXPECT_EQ("refused: 'set' is neither add nor del", Text("forward", {"set"}, &CommandMember::label));
}
