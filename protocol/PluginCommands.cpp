#include "protocol/PluginCommands.h"

#include <algorithm>
#include <cctype>

#include "plugin/ParseJson.h"
#include "protocol/FieldValues.h"
#include "protocol/Meanings.h"
#include "protocol/Names.h"
#include "protocol/Numbers.h"
#include "protocol/Tree.h"

namespace protocol
{

namespace
{
using Kind = MemberKind;

constexpr const char *kDelAdd[] = {"del", "add"};
constexpr const char *kOffSet[] = {"off", "set"};

// The most characters that agents keep of a text.
constexpr CommandMember kPluginId = {Kind::Text, "pluginID", "plugin_id", "pluginID", 0, 127, "of the registration"};
constexpr CommandMember kOldPlugin = {Kind::Text, "fromVersion",        "from_version", "fromVersion", 0,
                                      15,         "the agent's version"};
constexpr CommandMember kNewPlugin = {Kind::Text, "toVersion", "to_version", "toVersion", 0, 127, "that of the file"};
constexpr CommandMember kUpdateCheckMembers[] = {kPluginId, kOldPlugin, kNewPlugin};
constexpr CommandMember kUpdateMembers[] = {
    kPluginId,
    kOldPlugin,
    kNewPlugin,
    {Kind::Text, "url", "url", "url", 0, 255, "http://HOST[:PORT]/PATH, the host with less than 32 characters"},
    {Kind::Number, "fileLength", "file_length", "fileLength", INT32_MIN, INT32_MAX, "bytes of the file"},
    {Kind::Text, "fileMD5", "file_md5", "fileMD5", 0, 63, "its MD5, 32 digits in lower case"},
    {Kind::Text, "token", "token", "token", 0, 127, "of the registration"},
};
constexpr CommandMember kResult = {Kind::Number, "result", "result", "result", INT32_MIN, INT32_MAX, "any number"};
constexpr CommandMember kDigits = {Kind::MacDigits, "mac", "mac", "mac", 0, 0, "of the device, 12 digits"};
constexpr CommandMember kOnlineMembers[] = {kResult};
constexpr CommandMember kVipMembers[] = {kDigits};
constexpr CommandMember kRecognitionMembers[] = {
    kDigits, {Kind::Number, "result", "result", "result", 0, UINT8_MAX, "how it is recognised"}};

constexpr CommandMember kForwardMembers[] = {
    {Kind::Choice, "FLAG", "action", "", 0, 0, "add or del: begin or stop forwarding", kDelAdd},
    {Kind::Ip, "PRE_IP", "pre_ip", "PRE_IP", 0, 0, "the address that connections are made to"},
    {Kind::NumberText, "PRE_PORT", "pre_port", "PRE_PORT", 1, UINT16_MAX, "their port"},
    {Kind::Ip, "POST_IP", "post_ip", "POST_IP", 0, 0, "the address that gets them"},
    {Kind::NumberText, "POST_PORT", "post_port", "POST_PORT", 1, UINT16_MAX, "its port"},
};

constexpr CommandMember kOldFirmware = {
    Kind::Text, "fromVersion", "from_version", "fromVersion", 0, 64, "the present version of the firmware"};
constexpr CommandMember kNewFirmware = {Kind::Text, "toVersion", "to_version", "toVersion", 0, 64, "the next one"};
constexpr CommandMember kFirmwareCheckMembers[] = {kOldFirmware, kNewFirmware};
constexpr CommandMember kFirmwareUpdateMembers[] = {
    kOldFirmware,
    kNewFirmware,
    {Kind::Text, "url", "url", "url", 0, 256, "of the file"},
    {Kind::Number, "fileLength", "file_length", "fileLength", INT32_MIN, INT32_MAX, "bytes of the file"},
    {Kind::Number, "checkMethod", "check_method", "checkMethod", INT32_MIN, INT32_MAX,
     "how it is checked, in the router's own numbering"},
    {Kind::Text, "chkSum", "check_sum", "chkSum", 0, 40, "its check sum"},
};
constexpr CommandMember kIntervalMembers[] = {
    {Kind::Number, "func40Interval", "minutes", "func40Interval", INT32_MIN, INT32_MAX,
     "until a device is reported again, 1 to 19; 0: report none"},
};

constexpr CommandMember kDevice = {Kind::Mac, "MAC", "mac", "MAC", 0, 0, "of the device"};
// Clearing a limit needs the members too.
constexpr CommandMember kLimitMembers[] = {
    {Kind::Choice, "FLAG", "action", "", 0, 0, "set or off", kOffSet},
    kDevice,
    {Kind::NumberText, "UP", "up", "UP", INT32_MIN, INT32_MAX, "most that it may send, in the router's unit", {}, 0},
    {Kind::NumberText, "DOWN", "down", "DOWN", INT32_MIN, INT32_MAX, "most that it may receive", {}, 0},
};
constexpr CommandMember kSurfMembers[] = {
    {Kind::Choice, "FLAG", "action", "", 0, 0, "add or del: block the device, or delete the rule", kDelAdd},
    kDevice,
    {Kind::Days, "DAY", "days", "DAYS", 0, 0, "digits from 1 (Monday) to 6; 7 never matches"},
    {Kind::Time, "START", "start", "START", 0, 0, "H:MM, the first minute"},
    {Kind::Time, "STOP", "stop", "STOP", 0, 0, "H:MM, the last minute"},
    {Kind::Always, "ALLOW", "", "", 0}, // required, and without effect
};

template <size_t Count>
constexpr PluginCommand ToAgent(const char *name, uint8_t dataType, const CommandMember (&members)[Count],
                                const char *summary)
{
    return {name, 0, dataType, false, summary, members, Count};
}

template <size_t Count>
constexpr PluginCommand ToFunction(const char *name, uint16_t function, const CommandMember (&members)[Count],
                                   const char *summary)
{
    return {name, function, static_cast<uint8_t>(function), true, summary, members, Count};
}
} // namespace

const std::vector<PluginCommand> kPluginCommands = {
    ToAgent("plugin-update-check", PLUGIN_UPDATE_COMMAND, kUpdateCheckMembers,
            "announce an update of the agent; its report names these versions"),
    ToAgent("plugin-update", PLUGIN_UPDATE, kUpdateMembers, "give the agent a new file; how it ends is a report"),
    ToAgent("online", 4, kOnlineMembers, "tell the agent a result"),
    ToAgent("vip", 5, kVipMembers, "name a device"),
    ToAgent("recognition", 6, kRecognitionMembers, "name a device and how it is recognised"),
    ToAgent("re-recognition", 7, kVipMembers, "name a device that is to be recognised again"),
    ToAgent("forward", PLUG_ROUTE_SET, kForwardMembers, "forward TCP connections to another address and port"),
    ToAgent("firmware-check", PLUGIN_FIRMWARE_CHECK, kFirmwareCheckMembers,
            "ask whether one version of the firmware may become another; answered as a report"),
    ToAgent("firmware-update", PLUGIN_FIRMWARE_UPDATE, kFirmwareUpdateMembers,
            "have the router's management process update the firmware; how it ends is a report"),
    ToAgent("report-interval", PLUGIN_REPORT_INTERVAL, kIntervalMembers,
            "report each device that comes online, and again after some minutes"),
    ToFunction("limit", kLimitFunction, kLimitMembers, "limit what a device sends and receives"),
    ToFunction("surf", kSurfFunction, kSurfMembers, "block a device's internet access at some times of the week"),
};

const PluginCommand *FindPluginCommand(const std::string &name)
{
    const auto row = std::find_if(kPluginCommands.begin(), kPluginCommands.end(),
                                  [&](const PluginCommand &command) { return name == command.name; });
    return row == kPluginCommands.end() ? nullptr : &*row;
}

std::vector<const CommandMember *> SettableMembers(const PluginCommand &command)
{
    std::vector<const CommandMember *> members;
    for (const CommandMember &member : command)
        if (member.kind != Kind::Always) members.push_back(&member);
    return members;
}

// ---- Values

namespace
{
class Document
{
  public:
    explicit Document(const char *CommandMember::*name) : name_(name) {}

    bool Take(const CommandMember &member, const std::string &word);
    const Fields &Members() const { return members_; }
    const std::string &Error() const { return error_; }

  private:
    bool Put(const CommandMember &member, const std::string &text);
    bool Refuse(const CommandMember &member, const std::string &word, const std::string &reason);
    bool TakeChoice(const CommandMember &member, const std::string &word);
    bool TakeBytes(const CommandMember &member, const FieldLayout &field, const std::string &word);
    bool TakeNumber(const CommandMember &member, const std::string &word);
    bool TakeDays(const CommandMember &member, const std::string &word);
    bool TakeTime(const CommandMember &member, const std::string &word);

    const char *CommandMember::*name_;
    Fields members_;
    std::string error_;
    int64_t minutes_ = 0; // of the time before, in the day
};

bool Document::Put(const CommandMember &member, const std::string &text)
{
    members_.push_back(TextField(member.member, text));
    return true;
}

bool Document::Refuse(const CommandMember &member, const std::string &word, const std::string &reason)
{
    const std::string name = member.*name_;
    error_ = (name.empty() ? "'" : name + ": '") + word + "' " + reason;
    return false;
}

bool Document::TakeChoice(const CommandMember &member, const std::string &word)
{
    const char *const *names = member.values.names;
    if (word != names[0] && word != names[1])
        return Refuse(member, word, std::string("is neither ") + names[1] + " nor " + names[0]);
    return Put(member, word == names[1] ? "1" : "0");
}

bool Document::TakeBytes(const CommandMember &member, const FieldLayout &field, const std::string &word)
{
    Bytes bytes;
    if (!PutValue(field, word, &bytes, &error_)) return false;
    if (member.kind == Kind::Ip) return Put(member, word);
    // An agent stores the MAC of a rule as it was sent, and looks it up in upper case.
    std::string text = member.kind == Kind::Mac ? MacText(bytes) : ToHex(bytes);
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return toupper(c); });
    return Put(member, text);
}

bool Document::TakeNumber(const CommandMember &member, const std::string &word)
{
    int64_t number;
    const bool plain = member.kind == Kind::Number;
    if (!ParseNumber(word, member.low, member.high, &number))
        return Refuse(member, word,
                      plain && member.low == INT32_MIN && member.high == INT32_MAX
                          ? "is not a 32-bit number"
                          : "is not a number from " + std::to_string(member.low) + " to " +
                                std::to_string(member.high));
    if (!plain) return Put(member, std::to_string(number));
    members_.push_back(NumberField(member.member, number));
    return true;
}

bool Document::TakeDays(const CommandMember &member, const std::string &word)
{
    if (word.find_first_not_of("1234567,") != std::string::npos || word.find_first_of("1234567") == std::string::npos)
        return Refuse(member, word, "is not a row of digits from 1 (Monday) to 7, such as 135 or 1,3,5");
    return Put(member, word);
}

// "7:05" or "07:05".
bool Document::TakeTime(const CommandMember &member, const std::string &word)
{
    const size_t colon = word.find(':');
    int64_t hour = 0, minute = 0;
    const bool digits = colon != std::string::npos && word.find_first_not_of("0123456789:") == std::string::npos;
    if (!digits || colon > 2 || word.size() != colon + 3 || !ParseNumber(word.substr(0, colon), 0, 23, &hour) ||
        !ParseNumber(word.substr(colon + 1), 0, 59, &minute))
        return Refuse(member, word, "is not a time from 0:00 to 23:59");
    if (hour * 60 + minute < minutes_)
        return Refuse(member, word, "is before START; no rule reaches over midnight, that takes two");
    minutes_ = hour * 60 + minute;
    return Put(member, word);
}

bool Document::Take(const CommandMember &member, const std::string &word)
{
    const char *name = member.*name_;
    switch (member.kind) {
    case Kind::Choice: return TakeChoice(member, word);
    case Kind::Mac:
    case Kind::MacDigits: return TakeBytes(member, Mac(name, ""), word);
    case Kind::Ip: return TakeBytes(member, Ip(name, ""), word);
    case Kind::NumberText:
    case Kind::Number: return TakeNumber(member, word);
    case Kind::Days: return TakeDays(member, word);
    case Kind::Time: return TakeTime(member, word);
    case Kind::Text:
        if (word.size() > static_cast<size_t>(member.high))
            return Refuse(member, word, "has more than " + std::to_string(member.high) + " characters");
        return Put(member, word);
    case Kind::Always: return Put(member, std::to_string(member.low));
    }
    return false;
}
} // namespace

bool MakeCommandText(const PluginCommand &command, const std::vector<std::optional<std::string>> &values,
                     const char *CommandMember::*name, std::string *text, std::string *error)
{
    Document document(name);
    size_t next = 0;
    for (const CommandMember &member : command) {
        std::optional<std::string> word;
        if (member.kind != Kind::Always && next++ < values.size()) word = values[next - 1];
        if (!word && member.initial != kMustBeGiven) word = std::to_string(member.initial);
        if (!word && member.kind != Kind::Always) {
            *error = std::string(member.*name) + " is missing";
            return false;
        }
        if (!document.Take(member, word.value_or(""))) {
            *error = document.Error();
            return false;
        }
    }
    const std::string object = ToJson(document.Members());
    *text = command.inList ? "{\"LIST\":[" + object + "]}" : object;
    return true;
}

} // namespace protocol
