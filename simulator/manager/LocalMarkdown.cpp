#include "simulator/manager/LocalMarkdown.h"

#include "comm/FuncIdList.h"
#include "protocol/FunctionDecoders.h"
#include "protocol/LayoutText.h"
#include "simulator/console/Markdown.h"
#include "simulator/manager/LocalRequests.h"

namespace sim
{

namespace
{

struct Row {
    const char *name;
    uint16_t id;
    FuncIdRequest request;
    FuncIdArrival arrival;
};
constexpr Row kRows[] = {
#define MARKDOWN_ROW(number, constant, name, text, request, arrival)                                                   \
    {name, number, REQUEST_##request, ARRIVAL_##arrival},
    FUNCID_LIST(MARKDOWN_ROW)
#undef MARKDOWN_ROW
};

constexpr size_t kStatusSize = 1; // in front of the data of an answer

// When the agent sends its frame.
std::string Occasion(const Row &row)
{
    switch (row.request) {
    case REQUEST_NEVER: return "never";
    case REQUEST_EMPTY:
    case REQUEST_WAN_INDEX: return "not in this version";
    case REQUEST_JSON: return "function 88 of the platform; 200 s after the first login";
    case REQUEST_STATE: return "16 s after the first login; when a session ends; when it is asked";
    case REQUEST_HAND_OVER: return "data type 16 of the platform";
    case REQUEST_MARK:
    case REQUEST_PARAMETERS: break;
    }
    if (row.arrival == ARRIVAL_CONFIG) return "18 s after the first login";
    return "function " + std::to_string(row.id) + " of the platform";
}

std::string Sent(FuncIdRequest request)
{
    switch (request) {
    case REQUEST_NEVER: return "";
    case REQUEST_EMPTY: return "no payload";
    case REQUEST_MARK: return "`i`";
    case REQUEST_WAN_INDEX: return "index of a WAN";
    case REQUEST_PARAMETERS: return "parameters";
    case REQUEST_JSON: return "JSON";
    case REQUEST_STATE: return "JSON: the plugin's state";
    case REQUEST_HAND_OVER: return "firmware hand-over";
    }
    return "";
}

std::string Taken(FuncIdArrival arrival)
{
    switch (arrival) {
    case ARRIVAL_LOGGED: return "an answer: logs it";
    case ARRIVAL_ANSWER: return "the answer: tells the platform";
    case ARRIVAL_CONFIG: return "the answer: keeps the auto-report configuration";
    case ARRIVAL_DEVICES: return "devices: tells the platform of those that are new";
    case ARRIVAL_WAN_REPORT: return "a WAN record: sends it to the platform, its addresses turned";
    case ARRIVAL_JSON_REPORT: return "a text: sends it to the platform";
    case ARRIVAL_TYPED_REPORT: return "type and text: sends it to the platform unless it comes too soon";
    case ARRIVAL_QUESTION: return "`i`: answers with the plugin's state";
    case ARRIVAL_RESULT: return "a result: tells the platform how the update ended";
    }
    return "";
}

void AddRows(const std::string &who, const Layout &layout, size_t start, std::string *rows)
{
    for (const LayoutRow &row : LayoutRows(layout, start))
        *rows += MarkdownRow({who, row.offset, row.size, row.type, MarkdownCode(row.name), row.about});
}

const char *const kColumns[] = {"", "offset", "size", "type", "name", ""};

std::string Table(const std::string &rows)
{
    return "\n" + MarkdownHead({std::begin(kColumns), std::end(kColumns)}) + rows;
}

// The records of a FuncID; nothing if its frames have none.
std::string Section(const Row &row)
{
    const LocalLayouts layouts = LocalLayoutsOf(row.id);
    const bool answered = row.arrival == ARRIVAL_ANSWER && row.request != REQUEST_JSON;
    if (layouts.request.count + layouts.answer.count + layouts.saying.count == 0 && !answered) return "";
    std::string rows;
    AddRows("agent", layouts.request, 0, &rows);
    if (answered) {
        rows += MarkdownRow({"answer", "0", "1", "u8", "`status`", "0 done, otherwise the peer's own code"});
        AddRows("answer", layouts.answer, kStatusSize, &rows);
    }
    AddRows("peer", layouts.saying, 0, &rows);
    std::string text = "\n### " + std::to_string(row.id) + " `" + row.name + "`";
    if (answered) text += std::string(": ") + FindFunction(row.id)->layout.summary;
    text += "\n" + Table(rows);
    for (const Layout &record : RecordsOf(layouts.saying)) {
        std::string recordRows;
        AddRows("record", record, 0, &recordRows);
        text += "\nThe " + RecordHeading(record) + ":\n" + Table(recordRows);
    }
    return text;
}

} // namespace

std::string LocalMarkdown()
{
    std::string text =
        "\n" + MarkdownHead({"FuncID", "name", "the agent asks", "with", "what comes, and what the agent does"});
    for (const Row &row : kRows)
        text += MarkdownRow(
            {std::to_string(row.id), MarkdownCode(row.name), Occasion(row), Sent(row.request), Taken(row.arrival)});
    for (const Row &row : kRows) text += Section(row);
    return text;
}

} // namespace sim
