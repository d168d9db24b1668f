#include "protocol/UploadDecoders.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "platform/Frame.h"
#include "protocol/FunctionDecoders.h"
#include "protocol/Numbers.h"
#include "protocol/RecordLayouts.h"

namespace protocol
{

namespace
{
// ---- Layouts

constexpr const char *kYesNo[] = {"yes", "no"};

constexpr FieldLayout Sequence()
{
    return Number(Type::U16, "sequence", "", "counts the reports of this kind, or of the kinds 81, 84, 86 and 89");
}

constexpr FieldLayout kOnlineFields[] = {
    Always(2, 0, "no sequence"),
    Always(2, 40, "the data type again"),
    Zeros(2),
    Always(2, 1, "one device"),
    Mac("mac", "of the device"),
    Text("name", 16, "the beginning of its name"),
    Opaque("data", 16, "zeros, or what the router's management process said of it"),
    Always(1, 1, "online"),
};
constexpr Layout kOnline = {kOnlineFields};

constexpr FieldLayout kSubdevFields[] = {
    Ip("ip", "its address"),
    Mac("mac", "its MAC"),
    Text("name", 16, "the beginning of its name, or unknown-device"),
    Number(Type::U64, "up", "", "what it sends, in the router's own unit; 0 when it is not connected"),
    Number(Type::U64, "down", "", "what it receives"),
    Named("online", kNoYes, "whether it is connected, or only known from the ARP table"),
    Named("black_listed", kYesNo, "whether it is on the black list"),
    Named("access", kAccess, "whether it may use the internet"),
};
constexpr Layout kSubdev = {kSubdevFields, "sub-device record"};
static_assert(FixedSize(kSubdev) == 45, "as platforms know it");

constexpr FieldLayout kSubdevsFields[] = {
    Sequence(),
    Always(2, 63, "the data type again"),
    Zeros(2),
    CountedList("devices", kSubdev, 128, "those that are connected, then those of the ARP table"),
};
constexpr Layout kSubdevs = {kSubdevsFields};

constexpr FieldLayout kWanReportFields[] = {Sequence(), Always(2, 81, "the data type again"), Zeros(2),
                                            BytesToEnd("data", "the management process's record")};
constexpr Layout kWanReport = {kWanReportFields};
constexpr FieldLayout kWanReportHead[] = {kWanReportFields[0], kWanReportFields[1], kWanReportFields[2]};

// The header and the fields of a WAN record.
template <size_t... Head, size_t... Wan>
constexpr auto Joined(std::index_sequence<Head...>, std::index_sequence<Wan...>)
{
    struct Fields {
        FieldLayout rows[sizeof...(Head) + sizeof...(Wan)];
    };
    return Fields{{kWanReportHead[Head]..., kWanFields[Wan]...}};
}
constexpr auto kWholeWanReportFields =
    Joined(std::make_index_sequence<std::size(kWanReportHead)>(), std::make_index_sequence<std::size(kWanFields)>());
constexpr Layout kWholeWanReport = {kWholeWanReportFields.rows};

constexpr FieldLayout kText84Fields[] = {Sequence(), Always(2, 84, "the data type again"), Zeros(2), Length(),
                                         TextToEnd("json", "the management process's text")};
constexpr Layout kText84 = {kText84Fields};
constexpr FieldLayout kText86Fields[] = {Sequence(), Always(2, 86, "the data type again"), Zeros(2), Length(),
                                         TextToEnd("json", "the management process's text")};
constexpr Layout kText86 = {kText86Fields};
constexpr FieldLayout kTimedFields[] = {Sequence(),
                                        Always(2, 89, "the data type again"),
                                        Zeros(2),
                                        Length(),
                                        Number(Type::U8, "type", "", "1, 2 or 3, as the intervals of function 88"),
                                        BytesToEnd("data", "the management process's record")};
constexpr Layout kTimed = {kTimedFields};

// Members of JSON texts.
constexpr FieldLayout kRulesFields[] = {TextToEnd("MAC", "the router's, 12 digits in upper case")};
constexpr Layout kRules = {kRulesFields};
constexpr FieldLayout kFirmwareFields[] = {
    TextToEnd("version", "of the firmware, with its date"),
    TextToEnd("sdkVersion", "of the agent"),
    Number(Type::I32, "interval1", "min", "of the reports of type 1, -1 not set"),
    Number(Type::I32, "interval2", "min", "of type 2"),
    Number(Type::I32, "interval3", "min", "of type 3"),
    TextToEnd("configed", "yes when intervals 2 and 3 are set, else no"),
};
constexpr Layout kFirmware = {kFirmwareFields};
constexpr FieldLayout kUpdateFields[] = {
    TextToEnd("pluginID", "of the update command"),
    TextToEnd("fromVersion", "the same"),
    TextToEnd("toVersion", "the same"),
    Number(Type::I32, "process", "", "1 once a file has been verified, else 0"),
    Number(Type::I32, "result", "", "0 the file is there and right, -1 it is not"),
    TextToEnd("resultDesc", "empty"),
};
constexpr Layout kUpdate = {kUpdateFields};
constexpr FieldLayout kAnswerFields[] = {Number(Type::I32, "result", "", "0, or what went wrong"),
                                         TextToEnd("resultDesc", "the same in words")};
constexpr Layout kAnswer = {kAnswerFields};

// ---- Meanings

std::string Value(const Fields &fields, const std::string &path)
{
    const Field *field = FindField(fields, path);
    return field ? field->value : "";
}

std::string OnlineMeaning(const Fields &content, std::string *)
{
    const std::string name = Value(content, "name");
    return "device came online " + Value(content, "mac") + (name.empty() ? "" : ' ' + name);
}

std::string SubdevsMeaning(const Fields &content, std::string *)
{
    const Field *devices = FindField(content, "devices");
    const std::vector<Field> none;
    const std::vector<Field> &all = devices ? devices->children : none;
    const auto online = std::count_if(all.begin(), all.end(),
                                      [](const Field &device) { return Value(device.children, "online") == "yes"; });
    return std::to_string(all.size()) + " devices, " + std::to_string(online) + " of them connected";
}

std::string TimedMeaning(const Fields &content, std::string *problem)
{
    const std::string type = Value(content, "type");
    if (type != "1" && type != "2" && type != "3") *problem = "type " + type + " where 1, 2 or 3 must stand";
    return "report of type " + type;
}

std::string UpdateMeaning(const Fields &content, std::string *problem)
{
    const std::string result = Value(content, "result"), process = Value(content, "process");
    if (result != "0" && result != "-1") *problem = "result " + result + " where 0 or -1 must stand";
    if (result == "0" && process != "1") *problem = "process " + process + " beside result 0";
    if (!Value(content, "resultDesc").empty()) *problem = "resultDesc is not empty";
    return result == "0" ? "the file is there and right; the agent ends itself" : "the update has failed";
}

// For some codes the firmware's check and its update have different texts.
constexpr struct {
    int result;
    const char *text;
} kFirmwareTexts[] = {
    {0, "success"},
    {1, "fromVersion not match."},
    {1, "fromVersion not match"},
    {2, "toVersion not support."},
    {3, "url address error."},
    {4, "check method not match."},
    {5, "fileLength error."},
    {6, "file download failed."},
    {7, "check sum error."},
    {8, "firmware update faiiled."},
    {9, "unknown error."},
};
constexpr char kOtherText[] = "unKnown error.";

std::string AnswerMeaning(const Fields &content, std::string *problem)
{
    const std::string text = Value(content, "resultDesc");
    int64_t result = 0;
    ParseNumber(Value(content, "result"), INT32_MIN, INT32_MAX, &result);
    const bool known = std::any_of(std::begin(kFirmwareTexts), std::end(kFirmwareTexts),
                                   [&](const auto &row) { return row.result == result && row.text == text; });
    const bool other = (result < 0 || result > 8) && text == kOtherText;
    if (!known && !other) *problem = "result " + std::to_string(result) + " does not go with the text " + text;
    return text;
}
} // namespace

// ---- The table

const std::vector<Upload> kUploads = {
    {3,
     false,
     "plugin-update-report",
     "how an update of the agent (data type 2) ended",
     kUpdate,
     true,
     {},
     0,
     UpdateMeaning,
     "After result 0 the agent's process ends within about 3 seconds."},
    {13, false, "rules-request", "after each login: asks for the router's rules", kRules, true},
    {14, false, "firmware-report", "once per process: the router's firmware", kFirmware, true},
    {17,
     false,
     "firmware-answer",
     "answer to data types 15 and 16, and how an update of the firmware ended",
     kAnswer,
     true,
     {},
     0,
     AnswerMeaning,
     "Results: 0 `success`, 1 `fromVersion not match` (15) or `fromVersion not match.`, 2 `toVersion not support.`, 3 "
     "`url address error.`, 4 `check method not match.`, 5 `fileLength error.`, 6 `file download failed.`, 7 `check "
     "sum error.`, 8 `firmware update faiiled.`, 9 `unknown error.` (15) or `unKnown error.`; others `unKnown "
     "error.`"},
    {40, true, "device-report", "a device came online", kOnline, false, {}, 0, OnlineMeaning},
    {63, true, "device-list", "all devices, requested by function 64", kSubdevs, false, {}, 0, SubdevsMeaning},
    {81, true, "wan-report", "a report of the management process, binary", kWanReport, false, kWholeWanReport, 7,
     nullptr, "228 bytes of data are a WAN record, as in function 82."},
    {84, true, "json-report-84", "a report of the management process, as a text", kText84, false, {}, 9},
    {86, true, "json-report-86", "another one", kText86, false, {}, 9},
    {89,
     true,
     "timed-report",
     "a report of the management process, sent at intervals",
     kTimed,
     false,
     {},
     0,
     TimedMeaning},
};

const Upload *FindUpload(uint8_t msgType, uint8_t dataType)
{
    if (msgType != MSG_UP && msgType != MSG_UP_MAC) return nullptr;
    const auto row = std::find_if(kUploads.begin(), kUploads.end(), [&](const Upload &upload) {
        return upload.dataType == dataType && upload.withMac == (msgType == MSG_UP_MAC);
    });
    return row == kUploads.end() ? nullptr : &*row;
}

// ---- Decoding

// An agent writes exactly these members, in this order.
static void CheckMembers(const Layout &layout, const Field &json, std::vector<std::string> *problems)
{
    size_t at = 0;
    for (const FieldLayout &member : layout) {
        const Field *field = at < json.children.size() ? &json.children[at++] : nullptr;
        if (!field || field->name != member.name) {
            problems->push_back(std::string(member.name) + " is missing, or not in its place");
            return;
        }
        const bool text = member.type == Type::TextToEnd;
        if (field->kind != (text ? Field::Kind::Text : Field::Kind::Number))
            problems->push_back(std::string(member.name) + (text ? " is no text" : " is no number"));
    }
    if (at < json.children.size()) problems->push_back(json.children[at].name + " is one member too many");
}

static Fields DecodeJson(const Upload &upload, const Bytes &payload, std::vector<std::string> *problems)
{
    Field json;
    if (!FieldFromJson("json", std::string(payload.begin(), payload.end()), &json) ||
        json.kind != Field::Kind::Object) {
        problems->push_back("the text is no JSON object");
        return {};
    }
    CheckMembers(upload.layout, json, problems);
    return json.children;
}

static Fields DecodeBytes(const Upload &upload, const Bytes &payload, std::vector<std::string> *problems)
{
    const bool other = upload.another.count > 0 && payload.size() == FixedSize(upload.another);
    std::string problem;
    Fields fields = DecodeRecord(other ? upload.another : upload.layout, payload, &problem);
    if (!problem.empty()) problems->push_back(problem);
    if (fields.empty()) return fields;
    if (payload.size() < upload.least) problems->push_back("the report is empty");
    Field json; // the local peer's text, which may be no JSON
    if (fields.back().name == "json" && FieldFromJson("json", fields.back().value, &json)) fields.back() = json;
    return fields;
}

Fields DecodeUpload(const Upload &upload, const Bytes &payload, std::string *meaning,
                    std::vector<std::string> *problems)
{
    meaning->clear();
    const size_t before = problems->size();
    const Fields content = upload.json ? DecodeJson(upload, payload, problems) : DecodeBytes(upload, payload, problems);
    if (upload.meaning && !content.empty() && problems->size() == before) {
        std::string problem;
        *meaning = upload.meaning(content, &problem);
        if (!problem.empty()) problems->push_back(problem);
    }
    return upload.json ? Fields() : content;
}

} // namespace protocol
