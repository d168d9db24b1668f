// The tables that the documents are made of.
#include "simulator/console/Markdown.h"

#include <gtest/gtest.h>

#include "simulator/console/Interpreter.h"
#include "simulator/faults/Faults.h"

using namespace sim;

TEST(MarkdownTables, HaveAHeadAndEscapeBars)
{
    EXPECT_EQ("| command | |\n|---|---|\n", MarkdownHead({"command", ""}));
    EXPECT_EQ("| `a\\|b` | | c |\n", MarkdownRow({MarkdownCode("a|b"), MarkdownCode(""), "c"}));
}

TEST(MarkdownTables, SeparateTheCommandsThatEveryToolHas)
{
    Interpreter interpreter(nullptr);
    interpreter.Add("Own:\n",
                    {{"go", "A|B", "go there:", 1, 1, true, nullptr}, {"hidden", "", nullptr, 0, 0, true, nullptr}});
    interpreter.Add("", {{"wait", "", "do nothing", 0, 0, false, nullptr}}, true);
    EXPECT_EQ("| command | |\n|---|---|\n| `go A\\|B` | go there |\n", interpreter.Markdown(false));
    EXPECT_EQ("| command | |\n|---|---|\n| `wait` | do nothing |\n", interpreter.Markdown(true));
}

TEST(MarkdownTables, ShowFaultsWithTheirDefaultsAndPlaces)
{
    FaultTable table = {"misbehave", "PLACE", "", "", "", {}, nullptr, nullptr};
    table.rows = {{"late", SecondsValue(), "come later"}, {"cut", NumberValue("N", "1", 1, 9), "cut N bytes", 1, 3}};
    EXPECT_EQ("| fault | default | |\n|---|---|---|\n"
              "| `late=SECONDS` | | come later |\n| `cut[=N]` | `1` | cut N bytes |\n",
              FaultsMarkdown(table));
    table.rows.erase(table.rows.begin());
    table.placesText = [](unsigned places) { return std::string(places == 1 ? "door" : "gate"); };
    EXPECT_EQ("| fault | default | | at |\n|---|---|---|---|\n| `cut[=N]` | `1` | cut N bytes | door [gate] |\n",
              FaultsMarkdown(table));
}
