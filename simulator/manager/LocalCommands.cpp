#include "simulator/manager/LocalCommands.h"

#include "comm/FuncIdList.h"
#include "simulator/manager/LocalRequests.h"

namespace sim
{

static bool Refuse(const std::string &reason, std::string *error)
{
    *error = reason;
    return false;
}

// ---- Reports

// "wan [INDEX] [FIELD=VALUE]...": the household's WAN, with the given changes.
static bool MakeWanReport(const Words &words, Household *household, LocalOutgoing *frame, std::string *error)
{
    const bool indexed = words.size() > 2 && words[2].find('=') == std::string::npos;
    const std::string index = indexed ? words[2] : "0";
    const Bytes *wan = household->Find("wan", index);
    if (!wan) return Refuse("there is no WAN " + index, error);
    Bytes record = *wan;
    if (!ChangeRecord(kWan, From(words, indexed ? 3 : 2), &record, error)) return false;
    frame->id = FUNCID_WAN_REPORT;
    frame->payload = WithAddressesTurned(kWan, record);
    return true;
}

// "hex=..." or a text.
static bool TakeContent(const Words &words, size_t first, Bytes *content, std::string *error)
{
    if (words.size() == first + 1 && words[first].find("hex=") == 0)
        return FromHex(words[first].substr(4), content) ||
               Refuse("'" + words[first] + "' is no hexadecimal text", error);
    *content = ToBytes(Joined(words, first));
    return true;
}

static bool MakeTypedReport(const Words &words, Household *household, LocalOutgoing *frame, std::string *error)
{
    int64_t type;
    if (words.size() < 3 || !ParseNumber(words[2], 0, 255, &type))
        return Refuse("use: report typed TYPE [TEXT]", error);
    Bytes content = ToBytes(TypedReportText(static_cast<int>(type), *household));
    if (words.size() > 3 && !TakeContent(words, 3, &content, error)) return false;
    frame->id = FUNCID_TYPED_REPORT;
    frame->payload = {static_cast<uint8_t>(type)};
    Append(&frame->payload, content);
    return true;
}

static bool MakeReport(const Words &words, Household *household, LocalOutgoing *frame, std::string *error)
{
    if (words[1] == "wan") return MakeWanReport(words, household, frame, error);
    if (words[1] == "typed") return MakeTypedReport(words, household, frame, error);
    if (words[1] != "84" && words[1] != "86") return Refuse("'" + words[1] + "' is none of wan, 84, 86, typed", error);
    frame->id = words[1] == "84" ? FUNCID_REPORT_84 : FUNCID_REPORT_86;
    if (words.size() == 2) return Refuse("use: report " + words[1] + " TEXT", error);
    return TakeContent(words, 2, &frame->payload, error);
}

std::string TypedReportText(int type, const Household &household)
{
    std::vector<std::string> online;
    for (const Bytes &device : household.Records("device")) {
        const Fields shown = ShowRecord(kSeenDevice, device);
        if (FindField(shown, "online")->value == "yes") online.push_back(FindField(shown, "name")->value);
    }
    return ToJson({NumberField("type", type), ListField("online", online)});
}

// ---- Devices

// Notes in the household whether a device is online. `word` is MAC or MAC=NAME.
static bool Notice(const std::string &word, bool online, Household *household, Bytes *record, std::string *error)
{
    const size_t equals = word.find('=');
    const std::string mac = word.substr(0, equals);
    const Bytes *known = household->Find("device", mac);
    if (known)
        *record = *known;
    else if (!MakeRecord("device", kSeenDevice, {mac}, record, error))
        return false;
    Words changes = {std::string("online=") + (online ? "yes" : "no")};
    if (equals != std::string::npos) changes.push_back("name=" + word.substr(equals + 1));
    return ChangeRecord(kSeenDevice, changes, record, error) && household->Put("device", *record, error);
}

// "devices": all that are online. "devices online|offline MAC[=NAME]...": these.
static bool MakeDevices(const Words &words, Household *household, LocalOutgoing *frame, std::string *error)
{
    Bytes records;
    if (words.size() == 1) {
        for (const Bytes &device : household->Records("device"))
            if (device.back() == 1) Append(&records, device);
    } else {
        if (words.size() < 3 || (words[1] != "online" && words[1] != "offline"))
            return Refuse("use: devices [online|offline MAC[=NAME]...]", error);
        Household changed = *household;
        for (const std::string &word : From(words, 2)) {
            Bytes record;
            if (!Notice(word, words[1] == "online", &changed, &record, error)) return false;
            Append(&records, record);
        }
        *household = changed;
    }
    const size_t count = records.size() / FixedSize(kSeenDevice);
    frame->id = FUNCID_DEVICES;
    frame->payload = {static_cast<uint8_t>(count), static_cast<uint8_t>(count >> 8)};
    Append(&frame->payload, records);
    return true;
}

// ---- Notices

static bool MakePluginState(const Words &words, Household *, LocalOutgoing *frame, std::string *)
{
    frame->id = FUNCID_PLUGIN_STATE;
    frame->payload = ToBytes(words.size() > 1 ? Joined(words, 1) : "i");
    return true;
}

static bool MakeFirmwareResult(const Words &words, Household *, LocalOutgoing *frame, std::string *error)
{
    int64_t code;
    if (!ParseNumber(words[1], 0, 255, &code)) return Refuse("'" + words[1] + "' is no result", error);
    frame->id = FUNCID_FIRMWARE_UPDATE;
    frame->payload = {static_cast<uint8_t>(code)};
    return true;
}

// ---- Anything

static bool TakeNumber(const std::string &text, int64_t high, int64_t *number, std::string *error)
{
    return ParseNumber(text, 0, high, number) ||
           Refuse("'" + text + "' is no number up to " + std::to_string(high), error);
}

static bool MakeFrameOption(const std::string &word, LocalOutgoing *frame, std::string *error)
{
    const size_t equals = word.find('=');
    const std::string name = word.substr(0, equals);
    const std::string value = equals == std::string::npos ? "" : word.substr(equals + 1);
    int64_t number = 0;
    if (name == "hex")
        return FromHex(value, &frame->payload) || Refuse("'" + value + "' is no hexadecimal text", error);
    if (name == "text") {
        frame->payload = ToBytes(value);
    } else if (name == "sequence") {
        if (!TakeNumber(value, UINT32_MAX, &number, error)) return false;
        frame->sequence = static_cast<uint32_t>(number);
    } else if (name == "checksum") {
        if (!TakeNumber(value, UINT16_MAX, &number, error)) return false;
        frame->overrides.checksum = static_cast<uint16_t>(number);
    } else if (name == "length") {
        if (!TakeNumber(value, UINT32_MAX, &number, error)) return false;
        frame->overrides.length = static_cast<uint32_t>(number);
    } else {
        return Refuse("'" + word + "' is none of hex=, text=, sequence=, checksum=, length=", error);
    }
    return true;
}

static bool MakeFrame(const Words &words, Household *, LocalOutgoing *frame, std::string *error)
{
    if (!LocalNumber(words[1], &frame->id)) return Refuse("there is no frame '" + words[1] + "'", error);
    for (const std::string &word : From(words, 2))
        if (!MakeFrameOption(word, frame, error)) return false;
    return frame->payload.size() <= kMaxLocalPayload || Refuse("more than 65535 bytes", error);
}

static bool MakeRaw(const Words &words, Household *, LocalOutgoing *frame, std::string *error)
{
    frame->raw = true;
    return FromHex(Joined(words, 1), &frame->payload) || Refuse("no hexadecimal text", error);
}

// ---- The table

static std::vector<std::string> ReportCompletions(const Words &words)
{
    if (words.size() == 1) return {"wan", "84", "86", "typed"};
    std::vector<std::string> names;
    if (words[1] != "wan") return names;
    for (const FieldLayout &field : kWan) names.push_back(std::string(field.name) + "=");
    return names;
}

static std::vector<std::string> FrameCompletions(const Words &words)
{
    return words.size() == 1 ? LocalNames()
                             : std::vector<std::string>{"hex=", "text=", "sequence=", "checksum=", "length="};
}

CommandList LocalCommands(Household *household, LocalOutgoing *frame)
{
    const auto make = [=](bool (*maker)(const Words &, Household *, LocalOutgoing *, std::string *)) {
        return [=](const Words &words) {
            std::string error;
            return Result(maker(words, household, frame, &error), error);
        };
    };
    return {
        {"report", "wan [INDEX] [FIELD=VALUE]... | 84 TEXT | 86 TEXT | typed TYPE [TEXT | hex=HEX]",
         "report a WAN of the household (FuncID 81), a JSON text (84, 86), a report of type 1 to 3 (89)", 1, kMaxWords,
         true, make(MakeReport), ReportCompletions},
        {"devices", "[online|offline MAC[=NAME]...]",
         "report the devices that are online (FuncID 40), or that these came or went", 0, kMaxSeenDevices + 1, true,
         make(MakeDevices), Choice({"online", "offline"})},
        {"plugin-state", "[TEXT]", "ask for the plugin's state (FuncID 998), with another text than i", 0, kMaxWords,
         true, make(MakePluginState)},
        {"firmware-result", "CODE",
         "say how a firmware update ended (FuncID 999); \"set firmware-result\" answers the next", 1, 1, true,
         make(MakeFirmwareResult)},
        {"frame", "ID [hex=HEX | text=TEXT] [sequence=N] [checksum=N] [length=N]",
         "send any frame, by number or name; numbers are right unless given", 1, 6, true, make(MakeFrame),
         FrameCompletions},
        {"raw", "HEX", "send bytes as they stand", 1, kMaxWords, true, make(MakeRaw)},
    };
}

bool MakeLocalFrame(const Words &words, Household *household, LocalOutgoing *frame, std::string *error)
{
    *frame = {};
    const CommandList commands = LocalCommands(household, frame);
    const Command *command = words.empty() ? nullptr : FindCommand(commands, words[0]);
    if (!command) return Refuse(words.empty() ? "send what?" : "'" + words[0] + "' sends no frame", error);
    const Outcome outcome = RunCommand(*command, words);
    return outcome.kind == Outcome::Done || Refuse(outcome.reason, error);
}

} // namespace sim
