#include "simulator/platform/FunctionText.h"

#include <algorithm>

#include "protocol/FunctionNames.h"
#include "protocol/FunctionParameters.h"
#include "protocol/LayoutText.h"

namespace sim
{

// All functions, two lines each: number, usage, summary.
static std::string FunctionListText()
{
    std::string text =
        "Functions, each a command: PARAMETERS in this order or as name=VALUE, [those] may be left out.\n"
        "\"functions NAME\" shows one byte by byte.\n";
    for (const Function &function : kFunctions) {
        if (!function.Supported()) continue;
        const std::string number = std::to_string(function.id);
        text += std::string(4 - number.size(), ' ') + number + "  " + Usage(function) + "\n          " +
                function.layout.summary + "\n";
    }
    return text;
}

static std::string Table(const Layout &layout, size_t start)
{
    std::vector<LayoutRow> rows = LayoutRows(layout, start);
    rows.insert(rows.begin(), {"offset", "size", "type", "name", ""});
    const auto width = [&](std::string LayoutRow::*column) {
        size_t most = 0;
        for (const LayoutRow &row : rows) most = std::max(most, (row.*column).size());
        return most + 2;
    };
    std::string LayoutRow::*const columns[] = {&LayoutRow::offset, &LayoutRow::size, &LayoutRow::type,
                                               &LayoutRow::name};
    std::string text;
    for (const LayoutRow &row : rows) {
        std::string line = "    ";
        for (const auto column : columns) line += row.*column + std::string(width(column) - (row.*column).size(), ' ');
        line += row.about;
        text += line.substr(0, line.find_last_not_of(' ') + 1) + '\n';
    }
    return text;
}

std::string FunctionHelp(const Function &function)
{
    const FunctionLayout &layout = function.layout;
    const std::string number = "function " + std::to_string(function.id);
    std::string text = function.Supported() ? Usage(function) + "\n    " + number : number + " is not supported";
    if (*layout.summary) text += ": " + std::string(layout.summary);
    text += '\n';
    if (*layout.note) text += "    " + std::string(layout.note) + '\n';
    if (function.Supported()) text += "  Request: " + LengthText(layout.request, kRequestHeader) + " bytes.\n";
    if (layout.request.count > 0) text += Table(layout.request, kRequestHeader);
    if (function.Supported()) text += "  " + ReplyText(function) + '\n';
    if (layout.reply.count > 0) text += Table(layout.reply, kReplyHeader);
    for (const Layout &record : RecordsOf(layout.reply)) text += "  " + RecordHeading(record) + '\n' + Table(record, 0);
    return text;
}

bool FunctionsText(const std::string &name, std::string *text)
{
    uint16_t id = 0;
    if (!name.empty() && (!ParseFunction(name, &id) || !FindFunction(id))) return false;
    *text = name.empty() ? FunctionListText() : FunctionHelp(*FindFunction(id));
    return true;
}

} // namespace sim
