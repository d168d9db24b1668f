#include "simulator/PluginCommands.h"

#include <algorithm>
#include <iterator>

#include "simulator/Tree.h"

namespace sim
{

static bool Refuse(const std::string &name, const std::string &word, const std::string &reason, std::string *error)
{
    *error = name + ": '" + word + "' " + reason;
    return false;
}

// The room that an agent has for a text, its terminator included.
static bool TakeText(const char *name, const std::string &word, size_t room, Fields *document, std::string *error)
{
    if (word.size() >= room)
        return Refuse(name, word, "has more than " + std::to_string(room - 1) + " characters", error);
    document->push_back(TextField(name, word));
    return true;
}

static bool TakeNumber(const char *name, const std::string &word, Fields *document, std::string *error)
{
    int64_t number;
    if (!ParseNumber(word, INT32_MIN, INT32_MAX, &number)) return Refuse(name, word, "is no 32-bit number", error);
    document->push_back(NumberField(name, number));
    return true;
}

static const size_t kVersionRoom = 64;
static const size_t kUrlRoom = 256;
static const size_t kSumRoom = 40;

static bool TakeVersions(const Words &words, Fields *document, std::string *error)
{
    return TakeText("fromVersion", words[1], kVersionRoom, document, error) &&
           TakeText("toVersion", words[2], kVersionRoom, document, error);
}

bool FirmwareCheckText(const Words &words, std::string *text, std::string *error)
{
    Fields document;
    if (!TakeVersions(words, &document, error)) return false;
    *text = ToJson(document);
    return true;
}

bool FirmwareUpdateText(const Words &words, std::string *text, std::string *error)
{
    Fields document;
    if (!TakeVersions(words, &document, error) || !TakeText("url", words[3], kUrlRoom, &document, error) ||
        !TakeNumber("fileLength", words[4], &document, error) ||
        !TakeNumber("checkMethod", words[5], &document, error) ||
        !TakeText("chkSum", words[6], kSumRoom, &document, error))
        return false;
    *text = ToJson(document);
    return true;
}

bool ReportIntervalText(const Words &words, std::string *text, std::string *error)
{
    Fields document;
    if (!TakeNumber("func40Interval", words[1], &document, error)) return false;
    *text = ToJson(document);
    return true;
}

// ---- Results

namespace
{
struct ResultRow {
    uint8_t dataType;
    int result;
    const char *meaning;
};

constexpr char kBadText[] = "the text is no JSON, or a member is missing";

constexpr ResultRow kResults[] = {
    {PLUGIN_UPDATE_COMMAND, 0, "always: whether the text was a good one is in the agent's log alone"},
    {PLUGIN_UPDATE, 0, "always: how the update ended is in its report"},
    {4, 0, "the text has a result"},
    {4, -1, "the text is no JSON or has no result"},
    {5, 0, "noted"},
    {5, -1, kBadText},
    {6, 0, "noted"},
    {6, -1, kBadText},
    {7, 0, "noted"},
    {7, -1, kBadText},
    {PLUGIN_FIRMWARE_CHECK, 0, "noted for the update"},
    {PLUGIN_FIRMWARE_CHECK, 1, "fromVersion is missing"},
    {PLUGIN_FIRMWARE_CHECK, 2, "toVersion is missing"},
    {PLUGIN_FIRMWARE_CHECK, -1, "the text is no JSON"},
    {PLUGIN_FIRMWARE_UPDATE, 0, "passed on to the router's management process, whose outcome comes as a report"},
    {PLUGIN_FIRMWARE_UPDATE, -1, "not passed on; why is in the report before this"},
    {PLUGIN_REPORT_INTERVAL, 0, "done"},
    {PLUGIN_REPORT_INTERVAL, -1, "the text is no JSON, or func40Interval is missing or not 0 to 19"},
};
} // namespace

std::string PluginResultMeaning(uint8_t dataType, int result)
{
    const auto row = std::find_if(std::begin(kResults), std::end(kResults),
                                  [&](const ResultRow &r) { return r.dataType == dataType && r.result == result; });
    return row == std::end(kResults) ? "" : row->meaning;
}

} // namespace sim
