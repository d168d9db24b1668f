#include "protocol/FunctionMarkdown.h"

#include "protocol/LayoutText.h"

namespace protocol
{

static const char kIntroduction[] = R"(
### How functions are described

Offsets count from the start of the whole request or reply, so parameters begin at 10 and data at 6. Offsets in a record
of a list count from the start of the record. A list has exactly the stated number of records, without gaps. Texts are
UTF-8.

| type | |
|---|---|
| `u8`, `u16`, `u32`, `u64`, `i16`, `i32`, `i64` | number of that many bits, `i` with a sign, the lowest byte first |
| `ip` | IPv4 address, the last octet first: 192.168.1.20 is `14 01 A8 C0` |
| `mac` | 6 bytes in the order they are written |
| `date` | 4 bytes: century, year, month, day |
| `text` | filled with zero bytes up to its size; one that fills it has no zero byte. A text to the end of a request ends at a zero byte or with the payload |
| `bytes` | bytes without a meaning for the agent |

The status is 16 bits, the lowest byte first, in one of three ways:

| status | |
|---|---|
| router | the low 16 bits of the router library's result: 0 for success, otherwise the maker's code; of several calls the first that failed. Data that the router could not provide is zero |
| agent | the result of the agent itself or of the router's management process: 0 for success, otherwise mostly 1 |
| always 0 | 0 whatever the router library returns |
)";

static std::string Heading(const Function &function)
{
    const std::string name = function.Supported() ? " `" + std::string(function.name) + "`" : "";
    return std::to_string(function.id) + name;
}

// "0, 62, 63, 65, 67, 68"
static std::string NumbersOf(FunctionStatus status)
{
    std::string text;
    for (const Function &function : kFunctions)
        if (function.status == status) text += (text.empty() ? "" : ", ") + std::to_string(function.id);
    return text;
}

static bool HasSection(const Function &function)
{
    return function.status != STATUS_NONE && (function.Supported() || function.layout.reply.count > 0);
}

static std::string Overview()
{
    std::string text = "\n### All functions\n\n| function | | request | reply | status |\n|---|---|---|---|---|\n";
    for (const Function &function : kFunctions)
        if (HasSection(function) && function.Supported())
            text += "| " + Heading(function) + " | " + function.layout.summary + " | " +
                    LengthText(function.layout.request, kRequestHeader) + " | " +
                    LengthText(function.layout.reply, kReplyHeader) + " | " + StatusText(function) + " |\n";
    text += "\nThe other numbers:\n\n- " + NumbersOf(STATUS_NONE) + " do nothing and have no reply.\n- " +
            NumbersOf(STATUS_UNKNOWN) + " and all from " + std::to_string(kFunctionCount) +
            " on are no functions. 1 to 32766 are answered with 6 bytes, status 7, and then with `parser error`; 0 and "
            "32767 to 65535\n  with `parser error` alone.\n- Under 62 the router reports by itself, see below.\n";
    return text;
}

static void AddTableRows(const std::string &side, const Layout &layout, size_t start, std::string *text)
{
    for (const LayoutRow &row : LayoutRows(layout, start))
        *text += "| " + side + " | " + row.offset + " | " + row.size + " | " + row.type + " | " +
                 (row.name.empty() ? "" : "`" + row.name + "`") + " | " + row.about + " |\n";
}

static const char kColumns[] = "| offset | size | type | name | |\n";

static std::string Section(const Function &function)
{
    const FunctionLayout &layout = function.layout;
    std::string text = "\n### " + Heading(function) + ": " + layout.summary + "\n\n";
    if (function.Supported())
        text += "Request: " + LengthText(layout.request, kRequestHeader) + " bytes. " + ReplyText(function);
    else
        text += "No request. Report: " + LengthText(layout.reply, kReplyHeader) + " bytes.";
    text += "\n";
    if (*layout.note) text += std::string(layout.note) + "\n";
    if (layout.request.count + layout.reply.count == 0) return text;
    text += std::string("\n| ") + kColumns + "|---|---|---|---|---|---|\n";
    AddTableRows("request", layout.request, kRequestHeader, &text);
    AddTableRows("reply", layout.reply, kReplyHeader, &text);
    return text;
}

// The record of a list, at the first list that has it.
static std::string Records(const Function &function, std::string *known)
{
    std::string text;
    for (const Layout &record : RecordsOf(function.layout.reply)) {
        const std::string heading = RecordHeading(record);
        if (known->find(heading) != std::string::npos) continue;
        *known += heading + '\n';
        text += "\nThe " + heading + ":\n\n| " + kColumns + "|---|---|---|---|---|---|\n";
        AddTableRows("record", record, 0, &text);
    }
    return text;
}

std::string FunctionMarkdown()
{
    std::string text = kIntroduction, known;
    text += Overview();
    for (const Function &function : kFunctions)
        if (HasSection(function)) text += Section(function) + Records(function, &known);
    return text;
}

} // namespace protocol
