// The list of FuncIDs: plugsim answers and decodes all of it, and the document describes it (docs/local-protocol.md).
#include "comm/FuncIdList.h"

#include <gtest/gtest.h>

#include "protocol/FunctionDecoders.h"
#include "simulator/manager/LocalMarkdown.h"
#include "simulator/manager/LocalRequests.h"

using namespace sim;

namespace
{

struct Row {
    std::string name, text;
    uint16_t id;
    FuncIdRequest request;
    FuncIdArrival arrival;
};
const Row kRows[] = {
#define ROW(number, constant, name, text, request, arrival) {name, text, number, REQUEST_##request, ARRIVAL_##arrival},
    FUNCID_LIST(ROW)
#undef ROW
};

} // namespace

TEST(FuncIdList, EveryNumberHasARowInTheDocumentsTable)
{
    const std::string table = LocalMarkdown();
    for (const Row &row : kRows) {
        const std::string begin = "\n| " + std::to_string(row.id) + " | `" + row.name + "` | ";
        EXPECT_NE(std::string::npos, table.find(begin)) << begin;
    }
    const char *const lines[] = {
        "\n| 40 | `devices` | never | | devices: tells the platform of those that are new |\n",
        "\n| 73 | `mesh` | function 73 of the platform | `i` | the answer: tells the platform |\n",
        "\n| 76 | `set-roaming-threshold` | function 76 of the platform | parameters | the answer: tells the platform "
        "|\n",
        "\n| 997 | `auto-report-config` | 18 s after the first login | `i` | the answer: keeps the auto-report "
        "configuration |\n",
    };
    for (const char *line : lines) EXPECT_NE(std::string::npos, table.find(line)) << line;
}

TEST(FuncIdList, TheDocumentHasTheRecordsOfEveryFrame)
{
    const std::string text = LocalMarkdown();
    const char *const parts[] = {
        // What the agent sends, and the last field of the 432 bytes.
        "\n### 999 `firmware-update`\n",
        "\n| agent | 384 | 4 | u32 | `file_length` | how long it is; bytes |\n",
        "\n| agent | 392 | 40 | text | `checksum` | by that method |\n",
        "\n| peer | 0 | 1 | u8 | `code` | 0 done, otherwise what went wrong |\n",
        // An answer has its status in front.
        "\n### 77 `roaming-threshold`: thresholds of roaming\n",
        "\n| answer | 0 | 1 | u8 | `status` | 0 done, otherwise the peer's own code |\n",
        "\n| answer | 1 | 1 | u8 | `first` | first threshold |\n",
        "\n| agent | 205 | 4 | ip | `ip` | its address; this and the next four are 0.0.0.0 when there is none |\n",
        // A list and its record.
        "\n| peer | 0 | 2 | u16 | | n, how many follow |\n",
        "\nThe device, 39 bytes:\n",
        "\n| record | 38 | 1 | u8 | `online` | whether it is connected: 0 no, 1 yes |\n",
        "\n| peer | 227 | 1 | u8 | `connected` | whether it is connected: 0 no, 1 yes |\n",
    };
    for (const char *part : parts) EXPECT_NE(std::string::npos, text.find(part)) << part;
}

TEST(FuncIdList, ARequestForAFunctionHasItsNumberAndName)
{
    for (const Row &row : kRows) {
        const Function *const function = FindFunction(row.id);
        if (row.arrival != ARRIVAL_ANSWER) continue;
        ASSERT_NE(nullptr, function) << row.id;
        EXPECT_EQ(function->name, row.name);
    }
}

TEST(FuncIdList, EveryRequestIsAnsweredOrKnownToHaveNoAnswer)
{
    Household house;
    AutoReportKeeper keeper;
    for (const Row &row : kRows) {
        const LocalExchange exchange = AnswerRequest({row.id, 1, {}}, {&house, &keeper});
        EXPECT_EQ(row.request == REQUEST_NEVER ? "" : row.name, exchange.name) << row.id;
    }
}

TEST(FuncIdList, EveryRequestHasItsTextInTheLog)
{
    for (const Row &row : kRows) EXPECT_EQ(row.request == REQUEST_NEVER, row.text.empty()) << row.id;
}
