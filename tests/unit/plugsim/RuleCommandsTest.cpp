// The rules of a platform: the texts that an agent gets, written by hand.

#include <algorithm>

#include "simulator/platform/FrameCommands.h"
#include "tests/support/Frames.h"
#include "tests/unit/plugsim/PlatformTool.h"

using namespace sim;

namespace
{
struct RuleCommands : testing::Test {
    RuleCommands() { peer.mac = Hex("02 11 22 33 44 55"); }
    // The frame that a line sends, none when it is refused.
    ParsedFrame Sent(const std::string &line)
    {
        Words words;
        OutFrame frame;
        error.clear();
        EXPECT_TRUE(SplitWords(line, &words, &error));
        return MakeFrame(words, &context, &frame, &error) ? ParseFrame(EncodeFrame(frame, kKey), kKey, false)
                                                          : ParsedFrame();
    }
    // The text behind "MsgType DataType", and behind the header of a function's request.
    std::string Text(const std::string &line)
    {
        const ParsedFrame frame = Sent(line);
        const bool function = frame.header.msgType == MSG_FUNCTION_COMMAND;
        std::string text(frame.payload.begin() + (function ? 10 : 0), frame.payload.end());
        return std::to_string(frame.header.msgType) + " " + std::to_string(frame.dataType) + " " + text;
    }
    std::string Error(const std::string &line)
    {
        EXPECT_TRUE(Sent(line).raw.empty()) << line;
        return error;
    }
    Peer peer;
    FrameContext context = {&peer, kKey, 1000};
    std::string error;
};
} // namespace

// ---- Texts

TEST_F(RuleCommands, ForwardIsThePluginCommandThatSetsARoute)
{
    EXPECT_EQ("18 9 {\"FLAG\":\"1\",\"PRE_IP\":\"192.168.1.1\",\"PRE_PORT\":\"8080\",\"POST_IP\":\"192.168.2.50\","
              "\"POST_PORT\":\"80\"}",
              Text("forward add 192.168.1.1 8080 192.168.2.50 80"));
    EXPECT_EQ("18 9 {\"FLAG\":\"0\",\"PRE_IP\":\"10.0.0.1\",\"PRE_PORT\":\"1\",\"POST_IP\":\"10.0.0.2\","
              "\"POST_PORT\":\"65535\"}",
              Text("forward del 10.0.0.1 1 10.0.0.2 65535"));
}

TEST_F(RuleCommands, LimitSetsBothDirectionsOfADevice)
{
    EXPECT_EQ("20 66 {\"LIST\":[{\"FLAG\":\"1\",\"MAC\":\"02:1A:2B:00:00:14\",\"UP\":\"1000\",\"DOWN\":\"2000\"}]}",
              Text("limit 02:1a:2b:00:00:14 1000 2000"));
    EXPECT_EQ("20 66 {\"LIST\":[{\"FLAG\":\"1\",\"MAC\":\"02:1A:2B:00:00:14\",\"UP\":\"2147483647\","
              "\"DOWN\":\"-1\"}]}",
              Text("limit 021a2b000014 2147483647 -1"));
    EXPECT_EQ("20 66 {\"LIST\":[{\"FLAG\":\"0\",\"MAC\":\"02:1A:2B:00:00:14\",\"UP\":\"0\",\"DOWN\":\"0\"}]}",
              Text("limit 02:1a:2b:00:00:14 off"));
}

TEST_F(RuleCommands, SurfAddsAndDeletesARule)
{
    EXPECT_EQ("20 69 {\"LIST\":[{\"FLAG\":\"1\",\"MAC\":\"02:1A:2B:00:00:14\",\"DAY\":\"135\",\"START\":\"21:00\","
              "\"STOP\":\"23:59\",\"ALLOW\":\"0\"}]}",
              Text("surf add 02:1a:2b:00:00:14 135 21:00 23:59"));
    EXPECT_EQ("20 69 {\"LIST\":[{\"FLAG\":\"0\",\"MAC\":\"02:1A:2B:00:00:14\",\"DAY\":\"1,7\",\"START\":\"0:00\","
              "\"STOP\":\"0:00\",\"ALLOW\":\"0\"}]}",
              Text("surf del 02:1A:2B:00:00:14 1,7 0:00 0:00"));
}

TEST_F(RuleCommands, SurfJsonIsSentUnchanged)
{
    EXPECT_EQ("20 69 {\"LIST\": [{\"FLAG\": \"2\"}]}", Text("surf-json {\"LIST\": [{\"FLAG\": \"2\"}]}"));
    EXPECT_EQ("20 69 no JSON", Text("surf-json no JSON"));
    EXPECT_EQ("20 69 ", Text("surf-json ''"));
}

TEST_F(RuleCommands, FunctionsAmongThemHaveTags)
{
    Text("limit 021a2b000014 off");
    Text("surf add 021a2b000014 1 0:00 0:01");
    Text("surf-json {}");
    Text("forward add 1.1.1.1 1 2.2.2.2 2");
    ASSERT_EQ(3u, peer.waiting.size());
    EXPECT_EQ(66, peer.waiting[1].function);
    EXPECT_EQ(69, peer.waiting[2].function);
    EXPECT_EQ(69, peer.waiting[3].function);
}

// ---- Wrong words

TEST_F(RuleCommands, AnInvalidWordIsNamedAndNothingIsSent)
{
    EXPECT_EQ("'set' is neither add nor del", Error("forward set 1.1.1.1 1 2.2.2.2 2"));
    EXPECT_EQ("PRE_IP: 'router' is not an IPv4 address such as 192.168.1.20", Error("forward add router 1 2.2.2.2 2"));
    EXPECT_EQ("PRE_PORT: '0' is not a number from 1 to 65535", Error("forward add 1.1.1.1 0 2.2.2.2 2"));
    EXPECT_EQ("POST_IP: '2.2.2' is not an IPv4 address such as 192.168.1.20", Error("forward add 1.1.1.1 1 2.2.2 2"));
    EXPECT_EQ("POST_PORT: '65536' is not a number from 1 to 65535", Error("forward add 1.1.1.1 1 2.2.2.2 65536"));
    EXPECT_EQ("use: forward add|del PRE_IP PRE_PORT POST_IP POST_PORT", Error("forward add 1.1.1.1 1 2.2.2.2"));

    EXPECT_EQ("MAC: '02:1a:2b' is not a MAC such as 02:1A:2B:00:00:01", Error("limit 02:1a:2b 1 2"));
    EXPECT_EQ("UP: '1M' is not a number from -2147483648 to 2147483647", Error("limit 021a2b000014 1M 2"));
    EXPECT_EQ("DOWN: '2147483648' is not a number from -2147483648 to 2147483647",
              Error("limit 021a2b000014 1 2147483648"));
    EXPECT_EQ("'1' is not off, and behind an UP a DOWN is missing", Error("limit 021a2b000014 1"));
    EXPECT_EQ("use: limit MAC UP DOWN | limit MAC off", Error("limit 021a2b000014"));

    EXPECT_EQ("'list' is neither add nor del", Error("surf list 021a2b000014 1 0:00 1:00"));
    for (const std::string days : {"0", "8", "10", "Mon", ",", "''", "1-5"})
        EXPECT_EQ("DAYS: '" + (days == "''" ? "" : days) +
                      "' is not a row of digits from 1 (Monday) to 7, such as 135 or 1,3,5",
                  Error("surf add 021a2b000014 " + days + " 0:00 1:00"));
    for (const std::string time :
         {"21", "24:00", "21:60", "9:5", "21:000", "-1:00", "+1:00", ":00", "1:", "0x1:00", "1:00:00", "001:00"}) {
        EXPECT_EQ("START: '" + time + "' is not a time from 0:00 to 23:59",
                  Error("surf add 021a2b000014 1 " + time + " 23:59"));
        EXPECT_EQ("STOP: '" + time + "' is not a time from 0:00 to 23:59",
                  Error("surf add 021a2b000014 1 0:00 " + time));
    }
    EXPECT_EQ("STOP: '2:00' is before START; no rule reaches over midnight, that takes two",
              Error("surf add 021a2b000014 1 22:00 2:00"));
    EXPECT_EQ("use: surf-json TEXT", Error("surf-json"));
    EXPECT_TRUE(peer.waiting.empty());
}

TEST_F(RuleCommands, ATextThatFitsNoFrameIsRefused)
{
    EXPECT_EQ("too long", Error("surf-json " + std::string(65001, 'a')));
}

// ---- The prompt

TEST(RuleHelp, NamesTheWeekdayOfEachDigit)
{
    std::string text;
    ASSERT_TRUE(HelpText("surf", &text));
    EXPECT_NE(std::string::npos, text.find("surf add|del MAC DAYS START STOP")) << text;
    EXPECT_NE(std::string::npos,
              text.find("1 Monday, 2 Tuesday, 3 Wednesday, 4 Thursday, 5 Friday, 6 Saturday. 7 is stored and never"))
        << text;
    for (const char *name : {"forward", "limit", "surf-json"}) EXPECT_TRUE(HelpText(name, &text)) << name;
}

TEST(RuleHelp, OffersWhatMayFollow)
{
    const auto offers = [](const Words &before, const std::string &word) {
        const std::vector<std::string> found = Completions(before);
        return std::find(found.begin(), found.end(), word) != found.end();
    };
    for (const char *name : {"forward", "limit", "surf", "surf-json"}) EXPECT_TRUE(offers({}, name)) << name;
    EXPECT_EQ((std::vector<std::string>{"add", "del"}), Completions({"forward"}));
    EXPECT_EQ((std::vector<std::string>{"add", "del"}), Completions({"burst", "3", "surf"}));
    EXPECT_EQ((std::vector<std::string>{"off"}), Completions({"limit", "021a2b000014"}));
    EXPECT_TRUE(Completions({"limit"}).empty());
    EXPECT_TRUE(Completions({"surf", "add"}).empty());
}
