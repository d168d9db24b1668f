#include "protocol/LayoutText.h"
#include "protocol/FunctionMarkdown.h"
#include "tests/support/Frames.h"

using namespace protocol;

TEST(FunctionTable, FindsFunctionsByNumberAndByName)
{
    EXPECT_EQ(3u, FindFunction("wan-config")->id);
    EXPECT_STREQ("wan-config", FindFunction(3)->name);
    EXPECT_EQ(nullptr, FindFunction(89));
    EXPECT_EQ(nullptr, FindFunction(""));
    EXPECT_EQ(nullptr, FindFunction("3"));
}

TEST(FunctionTable, HasASummaryOfEveryFunction)
{
    for (const Function &function : kFunctions) {
        if (function.Supported()) {
            EXPECT_STRNE("", function.layout.summary) << function.id;
        }
        EXPECT_EQ(function.Supported(), *function.name != '\0') << function.id;
    }
}

TEST(LayoutText, CountsOffsetsBehindListsByTheirCounts)
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
