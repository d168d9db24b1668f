#include "simulator/platform/CommandTexts.h"

#include <algorithm>
#include <cctype>

#include "protocol/FieldValues.h"
#include "protocol/Tree.h"

namespace sim
{

// The room that an agent has for texts, terminators included.
static const size_t kVersionRoom = 64;
static const size_t kUrlRoom = 256;
static const size_t kSumRoom = 40;

static bool Refuse(const std::string &name, const std::string &word, const std::string &reason, std::string *error)
{
    *error = (name.empty() ? "'" : name + ": '") + word + "' " + reason;
    return false;
}

// ---- Single words, as members of the documents

static bool TakeFlag(const std::string &word, Fields *item, std::string *error)
{
    if (word != "add" && word != "del") return Refuse("", word, "is neither add nor del", error);
    item->push_back(TextField("FLAG", word == "add" ? "1" : "0"));
    return true;
}

// An agent stores the MAC of a rule as it was sent, and looks it up in upper case.
static bool TakeMac(const std::string &word, Fields *item, std::string *error)
{
    Bytes mac;
    if (!PutValue(Mac("MAC", ""), word, &mac, error)) return false;
    std::string text = MacText(mac);
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return toupper(c); });
    item->push_back(TextField("MAC", text));
    return true;
}

static bool TakeAddress(const char *name, const std::string &word, Fields *item, std::string *error)
{
    Bytes ip;
    if (!PutValue(Ip(name, ""), word, &ip, error)) return false;
    item->push_back(TextField(name, word));
    return true;
}

static bool TakeNumber(const char *name, const std::string &word, int64_t low, int64_t high, Fields *item,
                       std::string *error)
{
    int64_t number;
    if (!ParseNumber(word, low, high, &number))
        return Refuse(name, word, "is not a number from " + std::to_string(low) + " to " + std::to_string(high), error);
    item->push_back(TextField(name, std::to_string(number)));
    return true;
}

static bool TakeDays(const std::string &word, Fields *item, std::string *error)
{
    if (word.find_first_not_of("1234567,") != std::string::npos || word.find_first_of("1234567") == std::string::npos)
        return Refuse("DAYS", word, "is not a row of digits from 1 (Monday) to 7, such as 135 or 1,3,5", error);
    item->push_back(TextField("DAY", word));
    return true;
}

// "7:05" or "07:05". `*minutes` is the minute of the day.
static bool TakeTime(const char *name, const std::string &word, int64_t *minutes, Fields *item, std::string *error)
{
    const size_t colon = word.find(':');
    int64_t hour = 0, minute = 0;
    const bool digits = colon != std::string::npos && word.find_first_not_of("0123456789:") == std::string::npos;
    if (!digits || colon > 2 || word.size() != colon + 3 || !ParseNumber(word.substr(0, colon), 0, 23, &hour) ||
        !ParseNumber(word.substr(colon + 1), 0, 59, &minute))
        return Refuse(name, word, "is not a time from 0:00 to 23:59", error);
    *minutes = hour * 60 + minute;
    item->push_back(TextField(name, word));
    return true;
}

// A text that fits the agent's room for it.
static bool TakeText(const char *name, const std::string &word, size_t room, Fields *document, std::string *error)
{
    if (word.size() > room) return Refuse(name, word, "has more than " + std::to_string(room) + " characters", error);
    document->push_back(TextField(name, word));
    return true;
}

static bool TakeInt32(const char *name, const std::string &word, Fields *document, std::string *error)
{
    int64_t number;
    if (!ParseNumber(word, INT32_MIN, INT32_MAX, &number)) return Refuse(name, word, "is not a 32-bit number", error);
    document->push_back(NumberField(name, number));
    return true;
}

// ---- Documents

static std::string ListOf(const Fields &item)
{
    return "{\"LIST\":[" + ToJson(item) + "]}";
}

bool ForwardText(const Words &words, std::string *text, std::string *error)
{
    Fields document;
    if (!TakeFlag(words[1], &document, error) || !TakeAddress("PRE_IP", words[2], &document, error) ||
        !TakeNumber("PRE_PORT", words[3], 1, UINT16_MAX, &document, error) ||
        !TakeAddress("POST_IP", words[4], &document, error) ||
        !TakeNumber("POST_PORT", words[5], 1, UINT16_MAX, &document, error))
        return false;
    *text = ToJson(document);
    return true;
}

bool LimitText(const Words &words, std::string *text, std::string *error)
{
    const bool off = words.size() == 3;
    if (off && words[2] != "off") return Refuse("", words[2], "is not off, and behind an UP a DOWN is missing", error);
    Fields item = {TextField("FLAG", off ? "0" : "1")};
    // Clearing a limit needs the members too.
    if (!TakeMac(words[1], &item, error) ||
        !TakeNumber("UP", off ? "0" : words[2], INT32_MIN, INT32_MAX, &item, error) ||
        !TakeNumber("DOWN", off ? "0" : words[3], INT32_MIN, INT32_MAX, &item, error))
        return false;
    *text = ListOf(item);
    return true;
}

bool SurfText(const Words &words, std::string *text, std::string *error)
{
    Fields item;
    int64_t start, stop;
    if (!TakeFlag(words[1], &item, error) || !TakeMac(words[2], &item, error) || !TakeDays(words[3], &item, error) ||
        !TakeTime("START", words[4], &start, &item, error) || !TakeTime("STOP", words[5], &stop, &item, error))
        return false;
    if (stop < start)
        return Refuse("STOP", words[5], "is before START; no rule reaches over midnight, that takes two", error);
    item.push_back(TextField("ALLOW", "0")); // required, and without effect
    *text = ListOf(item);
    return true;
}

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
        !TakeInt32("fileLength", words[4], &document, error) || !TakeInt32("checkMethod", words[5], &document, error) ||
        !TakeText("chkSum", words[6], kSumRoom, &document, error))
        return false;
    *text = ToJson(document);
    return true;
}

bool ReportIntervalText(const Words &words, std::string *text, std::string *error)
{
    Fields document;
    if (!TakeInt32("func40Interval", words[1], &document, error)) return false;
    *text = ToJson(document);
    return true;
}

} // namespace sim
