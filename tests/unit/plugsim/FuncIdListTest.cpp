// The list of FuncIDs: plugsim answers and decodes all of it, and the document describes it.
#include "comm/FuncIdList.h"

#include <fstream>
#include <gtest/gtest.h>
#include <sstream>

#include "protocol/FunctionDecoders.h"
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

// As docs/plugsim-manager.md says it.
std::string Said(FuncIdRequest request)
{
    switch (request) {
    case REQUEST_NEVER: return "nothing";
    case REQUEST_EMPTY: return "no payload";
    case REQUEST_MARK: return "`i`";
    case REQUEST_WAN_INDEX: return "two bytes, the index of a WAN";
    case REQUEST_PARAMETERS: return "the parameters of the function";
    case REQUEST_JSON: return "JSON";
    case REQUEST_STATE: return "JSON: the plugin's state";
    case REQUEST_HAND_OVER: return "a firmware hand-over, 432 bytes";
    }
    return "";
}

std::string Said(FuncIdArrival arrival)
{
    switch (arrival) {
    case ARRIVAL_LOGGED: return "logs it";
    case ARRIVAL_ANSWER: return "answers the platform with it";
    case ARRIVAL_CONFIG: return "keeps the auto-report configuration";
    case ARRIVAL_DEVICES: return "reports new devices to the platform";
    case ARRIVAL_WAN_REPORT: return "sends it to the platform, its addresses turned";
    case ARRIVAL_JSON_REPORT: return "sends it to the platform";
    case ARRIVAL_TYPED_REPORT: return "sends it to the platform unless it comes too soon";
    case ARRIVAL_QUESTION: return "answers `i` with the plugin's state";
    case ARRIVAL_RESULT: return "tells the platform how the update ended";
    }
    return "";
}

std::string Table()
{
    std::string table = "| FuncID | name | the agent sends | what the agent does with a frame of the local peer |\n"
                        "|---|---|---|---|\n";
    for (const Row &row : kRows)
        table += "| " + std::to_string(row.id) + " | `" + row.name + "` | " + Said(row.request) + " | " +
                 Said(row.arrival) + " |\n";
    return table;
}

} // namespace

TEST(FuncIdList, TheDocumentHasItsTable)
{
    std::ifstream file(PLUG_MANAGER_DOCUMENT);
    std::stringstream document;
    document << file.rdbuf();
    ASSERT_NE(std::string::npos, document.str().find("## FuncIDs")) << PLUG_MANAGER_DOCUMENT;
    EXPECT_NE(std::string::npos, document.str().find("\n\n" + Table() + "\n"))
        << PLUG_MANAGER_DOCUMENT << " must have this table:\n\n"
        << Table();
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
