#include "simulator/platform/FunctionText.h"
#include "protocol/FunctionNames.h"
#include "tests/support/Frames.h"
#include "tests/unit/plugsim/PlatformTool.h"

using namespace sim;

static bool Offers(const Words &before, const std::string &completion)
{
    const std::vector<std::string> found = Completions(before);
    return std::find(found.begin(), found.end(), completion) != found.end();
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
              "    6       4     u32   connections  tracked by the router now\n",
              text);
    std::string byNumber;
    ASSERT_TRUE(FunctionsText("5", &byNumber));
    EXPECT_EQ(text, byNumber);
    EXPECT_FALSE(FunctionsText("wan", &text));
    EXPECT_FALSE(FunctionsText("89", &text));
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
