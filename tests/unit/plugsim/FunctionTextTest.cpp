#include "simulator/FunctionText.h"
#include "simulator/Commands.h"
#include "simulator/FunctionMarkdown.h"
#include "simulator/FunctionNames.h"
#include "tests/unit/plugsim/Frames.h"

using namespace sim;

static bool Contains(const std::string &text, const std::string &part)
{
    return text.find(part) != std::string::npos;
}

static bool Offers(const Words &before, const std::string &completion)
{
    const std::vector<std::string> found = Completions(before);
    return std::find(found.begin(), found.end(), completion) != found.end();
}

TEST(FunctionTable, FindsFunctionsByNumberAndByName)
{
    EXPECT_EQ(3u, FindFunction("wan-config")->id);
    EXPECT_STREQ("wan-config", FindFunction(3)->name);
    EXPECT_EQ(nullptr, FindFunction(89));
    EXPECT_EQ(nullptr, FindFunction(""));
    EXPECT_EQ(nullptr, FindFunction("3"));
}

TEST(FunctionTable, SaysWhatEveryFunctionIsFor)
{
    for (const Function &function : kFunctions) {
        if (function.Supported()) {
            EXPECT_STRNE("", function.layout.summary) << function.id;
        }
        EXPECT_EQ(function.Supported(), *function.name != '\0') << function.id;
    }
}

TEST(FunctionText, ListsEveryFunctionWithItsParameters)
{
    std::string list;
    ASSERT_TRUE(FunctionsText("", &list));
    EXPECT_TRUE(Contains(list, "   8  ping HOST [size] [count]\n          start a ping\n"));
    EXPECT_TRUE(Contains(list, "  35  set-device-limits MAC UP DOWN\n"));
    for (const std::string &name : FunctionNameList()) EXPECT_TRUE(Contains(list, "  " + name)) << name;
}

TEST(FunctionText, ShowsAFunctionByteByByte)
{
    std::string text;
    ASSERT_TRUE(FunctionsText("wan-tcp-connections", &text));
    EXPECT_EQ("wan-tcp-connections WAN\n"
              "    function 5: TCP connections of a WAN\n"
              "  Request: 12 bytes.\n"
              "    offset  size  type  name\n"
              "    10      2     u16   wan   index of the WAN\n"
              "  Reply: 10 bytes, status: router.\n"
              "    offset  size  type  name\n"
              "    6       4     u32   connections  that the router tracks now\n",
              text);
    std::string byNumber;
    ASSERT_TRUE(FunctionsText("5", &byNumber));
    EXPECT_EQ(text, byNumber);
    EXPECT_FALSE(FunctionsText("wan", &text));
    EXPECT_FALSE(FunctionsText("89", &text));
}

TEST(FunctionText, CountsOffsetsBehindListsByTheirCounts)
{
    const std::vector<LayoutRow> rows = LayoutRows(FindFunction("link-status")->layout.reply, kReplyHeader);
    ASSERT_EQ(8u, rows.size());
    EXPECT_EQ("8", rows[1].offset);
    EXPECT_EQ("n", rows[1].size);
    EXPECT_EQ("8 + n", rows[2].offset);
    EXPECT_EQ("10 + n", rows[3].offset);
    EXPECT_EQ("m", rows[3].size);
    EXPECT_EQ("10 + n + m", rows[4].offset);
    EXPECT_EQ("13 + n + m", rows[7].offset);
    EXPECT_EQ("14 + n + m", LengthText(FindFunction("link-status")->layout.reply, kReplyHeader));
    EXPECT_EQ("8 + 34 n", LengthText(FindFunction("all-devices")->layout.reply, kReplyHeader));
    EXPECT_EQ("8 + n", LengthText(FindFunction("ping-result")->layout.reply, kReplyHeader));
    EXPECT_EQ("16 and more", LengthText(FindFunction("set-device-name")->layout.request, kRequestHeader));
}

TEST(FunctionText, ShowsTheRecordsOfAList)
{
    const std::string text = FunctionHelp(*FindFunction("wan-configs"));
    EXPECT_TRUE(Contains(text, "  WAN record, 228 bytes\n"));
    EXPECT_TRUE(Contains(text, "0 dhcp, 1 static, 2 pppoe, 3 bridge"));
}

TEST(FunctionText, IsTheHelpOfAFunctionsCommand)
{
    std::string text;
    ASSERT_TRUE(HelpText("ping", &text));
    EXPECT_EQ(FunctionHelp(*FindFunction("ping")), text);
    ASSERT_TRUE(HelpText("identity", &text));
    EXPECT_TRUE(Contains(text, "301 bytes"));
    EXPECT_FALSE(HelpText("no-such-thing", &text));
    ASSERT_TRUE(HelpText("functions", &text));
    EXPECT_TRUE(Contains(text, "functions [NAME]"));
}

TEST(FunctionMarkdown, DescribesEveryFunctionAndEveryNumberWithoutOne)
{
    const std::string text = FunctionMarkdown();
    for (const Function &function : kFunctions) {
        if (!function.Supported() || function.status == STATUS_NONE) continue;
        const std::string heading = std::to_string(function.id) + " `" + function.name + "`";
        EXPECT_TRUE(Contains(text, "\n### " + heading + ": ")) << heading;
        EXPECT_TRUE(Contains(text, "\n| " + heading + " | ")) << heading;
    }
    EXPECT_TRUE(Contains(text, "\n- 40, 81, 84, 86 do nothing"));
    EXPECT_TRUE(Contains(text, "\n- 0, 62, 63, 65, 67, 68 and all from 89 on are no functions."));
    EXPECT_TRUE(Contains(text, "\n### 62: the measured download rate"));
    EXPECT_TRUE(Contains(text, "| reply | 244 | 2 | u16 | `cpu_mhz` | its clock; MHz |"));
    EXPECT_TRUE(Contains(text, "| request | 215 | 4 | ip | `ip` |"));
    EXPECT_TRUE(Contains(text, "| reply | 10 + n + m | 1 | u8 | `wifi0` |"));
}

TEST(FunctionMarkdown, DescribesARecordOnce)
{
    const std::string text = FunctionMarkdown();
    for (const char *heading :
         {"The WAN record, 228 bytes:", "The SSID record, 120 bytes:", "The device record, 34 bytes:",
          "The neighbour record, 74 bytes:", "The port record, 16 bytes:"}) {
        const size_t at = text.find(heading);
        ASSERT_NE(std::string::npos, at) << heading;
        EXPECT_EQ(std::string::npos, text.find(heading, at + 1)) << heading;
    }
}

TEST(Completions, OfferFunctionsWhereverTheyMayStand)
{
    EXPECT_TRUE(Offers({}, "set-led"));
    EXPECT_TRUE(Offers({}, "identity"));
    EXPECT_TRUE(Offers({}, "misbehave"));
    EXPECT_TRUE(Offers({"help"}, "set-led"));
    EXPECT_TRUE(Offers({"functions"}, "set-led"));
    EXPECT_FALSE(Offers({"functions"}, "misbehave"));
    EXPECT_TRUE(Offers({"function"}, "set-led"));
    EXPECT_TRUE(Offers({"flood", "3"}, "set-led"));
    EXPECT_FALSE(Offers({"flood", "3"}, "quit"));
    EXPECT_TRUE(Completions({"flood"}).empty());
    EXPECT_TRUE(Offers({"every", "10", "3"}, "led"));
}

TEST(Completions, OfferTheParametersOfAFunction)
{
    EXPECT_TRUE(Offers({"set-led"}, "on"));
    EXPECT_TRUE(Offers({"burst", "2", "set-ssid-config"}, "ssid="));
    EXPECT_TRUE(Offers({"wait"}, "reply"));
    EXPECT_TRUE(Offers({"misbehave", "off"}, "silent"));
}
