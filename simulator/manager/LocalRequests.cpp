#include "simulator/manager/LocalRequests.h"

#include <algorithm>
#include <functional>
#include <iterator>

#include "comm/FuncIdList.h"
#include "protocol/FunctionDecoders.h"

namespace sim
{

namespace
{

constexpr FieldLayout kIndexFields[] = {Number(Type::U16, "wan", "", "index of the WAN")};
constexpr Layout kIndex = {kIndexFields};
constexpr uint8_t kRefused = 1;
using Answer = std::function<LocalAnswer(const Bytes &payload, const LocalKnowledge &knowledge)>;

LocalAnswer Data(const Bytes &data)
{
    return {true, 0, data, ""};
}

LocalAnswer Refuse(const std::string &note)
{
    return {true, kRefused, {}, note};
}

LocalAnswer Done()
{
    return Data({});
}

LocalAnswer NoAnswer()
{
    return {false, 0, {}, ""};
}

// Answers with a setting.
Answer Tell(const char *setting)
{
    return [setting](const Bytes &, const LocalKnowledge &k) { return Data(k.household->Value(setting)); };
}

// Stores the payload as a setting.
Answer Keep(const char *setting)
{
    return [setting](const Bytes &payload, const LocalKnowledge &k) {
        k.household->SetValue(setting, payload);
        return Done();
    };
}

LocalAnswer DoneAlways(const Bytes &, const LocalKnowledge &)
{
    return Done();
}

LocalAnswer AllWans(const Bytes &, const LocalKnowledge &k)
{
    Bytes all;
    for (const Bytes &wan : k.household->Records("wan")) Append(&all, WithAddressesTurned(kWan, wan));
    return Data(all);
}

LocalAnswer FirstWan(const Bytes &, const LocalKnowledge &k)
{
    const std::vector<Bytes> &wans = k.household->Records("wan");
    return wans.empty() ? Refuse("there is no WAN") : Data(WithAddressesTurned(kWan, wans[0]));
}

LocalAnswer NoConnections(const Bytes &, const LocalKnowledge &)
{
    return Data({0, 0, 0, 0});
}

LocalAnswer WifiBand(const Bytes &payload, const LocalKnowledge &k)
{
    const Bytes &bands = k.household->Value("wifi-band");
    if (payload[0] >= bands.size()) return Refuse("there is no such band");
    return Data({bands[payload[0]]});
}

LocalAnswer SetMesh(const Bytes &payload, const LocalKnowledge &k)
{
    if (k.household->Number("mesh-support") == 0) return Refuse("there can be no mesh");
    k.household->SetValue("mesh", payload);
    return Done();
}

LocalAnswer Topology(const Bytes &, const LocalKnowledge &k)
{
    return Data(ToBytes(k.household->Topology()));
}

LocalAnswer Scan(const Bytes &, const LocalKnowledge &k)
{
    return Data(k.household->Scan());
}

LocalAnswer SetWan(const Bytes &payload, const LocalKnowledge &k)
{
    std::string error;
    return k.household->Put("wan", WithAddressesTurned(kWan, payload), &error) ? Done() : Refuse(error);
}

// A calibration has no answer.
LocalAnswer SetAutoReport(const Bytes &payload, const LocalKnowledge &k)
{
    bool saved;
    std::string error;
    if (!k.autoReport->Take(std::string(payload.begin(), payload.end()), &saved, &error)) return Refuse(error);
    return saved ? Done() : NoAnswer();
}

LocalAnswer AutoReport(const Bytes &, const LocalKnowledge &k)
{
    const std::string text = k.autoReport->Told();
    return text.empty() ? Refuse("nothing is configured") : Data(ToBytes(text));
}

LocalAnswer Silence(const Bytes &, const LocalKnowledge &)
{
    return NoAnswer();
}

// The answer is only the result.
LocalAnswer Firmware(const Bytes &, const LocalKnowledge &k)
{
    const uint8_t result = k.household->Number("firmware-result");
    return {result != kNoFirmwareResult, result, {}, ""};
}

struct AnswerRow {
    uint16_t id;
    Answer answer;
};
const AnswerRow kAnswers[] = {
    {FUNCID_VERSION, Tell("version")},
    {FUNCID_BASE_INFO, Tell("version")},
    {FUNCID_WAN_CONFIG, FirstWan},
    {FUNCID_WAN_CONFIGS, AllWans},
    {FUNCID_WAN_CONNECTIONS, NoConnections},
    {FUNCID_WIFI_BAND, WifiBand},
    {FUNCID_MESH_SUPPORT, Tell("mesh-support")},
    {FUNCID_SET_MESH, SetMesh},
    {FUNCID_MESH, Tell("mesh")},
    {FUNCID_SET_MESH_ROAMING, Keep("roaming")},
    {FUNCID_MESH_ROAMING, Tell("roaming")},
    {FUNCID_SET_THRESHOLDS, Keep("thresholds")},
    {FUNCID_THRESHOLDS, Tell("thresholds")},
    {FUNCID_MESH_TOPOLOGY, Topology},
    {FUNCID_ADJACENT_WIFI_INFO, Scan},
    {FUNCID_BSSID, Tell("bssid")},
    {FUNCID_SET_WAN_CONFIG, SetWan},
    {FUNCID_ONE_KEY_OPTIMIZE, DoneAlways},
    {FUNCID_FAULT_DIAGNOSIS, DoneAlways},
    {FUNCID_SET_AUTO_REPORT, SetAutoReport},
    {FUNCID_AUTO_REPORT_CONFIG, AutoReport},
    {FUNCID_PLUGIN_STATE, Silence},
    {FUNCID_FIRMWARE_UPDATE, Firmware},
};

// What the local peer sends by itself.
constexpr FieldLayout kDevicesFields[] = {CountedList("devices", kSeenDevice, kMaxSeenDevices, "that came or went")};
constexpr FieldLayout kTextReportFields[] = {TextToEnd("text", "JSON")};
constexpr FieldLayout kQuestionFields[] = {TextToEnd("text", "the one byte i")};
constexpr FieldLayout kTypedReportFields[] = {Number(Type::U8, "type", "", "1, 2 or 3"),
                                              TextToEnd("text", "what is reported")};
constexpr FieldLayout kResultFields[] = {Number(Type::U8, "code", "", "0 done, otherwise what went wrong")};

struct SayingRow {
    uint16_t id;
    Layout layout;
};
const SayingRow kSayings[] = {
    {FUNCID_DEVICES, kDevicesFields},          {FUNCID_WAN_REPORT, kWan},
    {FUNCID_REPORT_84, kTextReportFields},     {FUNCID_REPORT_86, kTextReportFields},
    {FUNCID_TYPED_REPORT, kTypedReportFields}, {FUNCID_PLUGIN_STATE, kQuestionFields},
    {FUNCID_FIRMWARE_UPDATE, kResultFields},
};

// The agent's list of FuncIDs.
struct NameRow {
    const char *name;
    uint16_t id;
    FuncIdRequest request;
};
constexpr NameRow kNames[] = {
#define NAME_ROW(number, constant, name, text, request, arrival) {name, number, REQUEST_##request},
    FUNCID_LIST(NAME_ROW)
#undef NAME_ROW
};

// The row of `id` in a table; nullptr when it has none.
template <typename Row, size_t count>
const Row *FindRow(const Row (&rows)[count], uint16_t id)
{
    const Row *const row = std::find_if(rows, rows + count, [id](const Row &r) { return r.id == id; });
    return row == rows + count ? nullptr : row;
}

// The layout of a request whose payload is a record.
Layout RequestLayout(const NameRow &row)
{
    switch (row.request) {
    case REQUEST_WAN_INDEX: return kIndex;
    case REQUEST_HAND_OVER: return kHandOver;
    case REQUEST_PARAMETERS: return FindFunction(row.id)->layout.request;
    default: return {};
    }
}

// The layout of the answer to a function, which is the function's reply.
Layout AnswerLayout(const NameRow &row)
{
    const Function *const function = FindFunction(row.id);
    return function && std::string(function->name) == row.name ? function->layout.reply : Layout();
}

// Decodes the payload. Adds what is wrong with it to `problems`.
Fields Decode(const NameRow &row, const Bytes &payload, std::vector<std::string> *problems)
{
    const std::string text(payload.begin(), payload.end());
    std::string problem;
    Fields fields;
    Field json;
    switch (row.request) {
    case REQUEST_NEVER: break;
    case REQUEST_EMPTY:
        if (!payload.empty()) problem = std::to_string(payload.size()) + " bytes of payload instead of none";
        break;
    case REQUEST_MARK:
        if (text != "i") problem = "the payload is not the one byte i";
        break;
    case REQUEST_WAN_INDEX:
    case REQUEST_PARAMETERS:
    case REQUEST_HAND_OVER: {
        const Layout layout = RequestLayout(row);
        fields = DecodeRecord(layout, payload, &problem);
        // The addresses of a whole WAN are in network order.
        if (problem.empty() && layout.Shared()) fields = ShowRecord(layout, WithAddressesTurned(layout, payload));
        break;
    }
    case REQUEST_JSON:
    case REQUEST_STATE:
        if (!FieldFromJson("", text, &json) || json.kind != Field::Kind::Object)
            problem = "the payload is no JSON object";
        fields = json.children;
        break;
    }
    if (!problem.empty()) problems->push_back(problem);
    return fields;
}

// An answer without a layout is JSON or nothing that can be decoded.
Fields DecodeAnswer(const NameRow &row, const LocalAnswer &answer)
{
    std::string problem;
    if (answer.status != 0 || !answer.wanted) return {};
    const Layout layout = AnswerLayout(row);
    if (layout.count > 0) return DecodeRecord(layout, answer.data, &problem);
    Field json;
    if (FieldFromJson("", std::string(answer.data.begin(), answer.data.end()), &json)) return json.children;
    return {};
}

} // namespace

LocalExchange AnswerRequest(const LocalFrame &request, const LocalKnowledge &knowledge)
{
    LocalExchange exchange;
    exchange.answer.wanted = false;
    const NameRow *row = FindRow(kNames, request.id);
    const AnswerRow *answer = FindRow(kAnswers, request.id);
    if (!row || !answer) {
        exchange.problems.push_back("there is no request " + std::to_string(request.id));
        return exchange;
    }
    exchange.name = row->name;
    exchange.fields = Decode(*row, request.payload, &exchange.problems);
    if (!exchange.problems.empty()) return exchange;
    exchange.answer = answer->answer(request.payload, knowledge);
    exchange.answerFields = DecodeAnswer(*row, exchange.answer);
    return exchange;
}

Fields DecodeSaying(uint16_t id, const Bytes &payload)
{
    const SayingRow *row = FindRow(kSayings, id);
    if (!row) return {};
    std::string problem;
    const bool wan = id == FUNCID_WAN_REPORT;
    return DecodeRecord(row->layout, wan ? WithAddressesTurned(row->layout, payload) : payload, &problem);
}

LocalLayouts LocalLayoutsOf(uint16_t id)
{
    const NameRow *const row = FindRow(kNames, id);
    const SayingRow *const saying = FindRow(kSayings, id);
    LocalLayouts layouts;
    if (row) layouts = {RequestLayout(*row), AnswerLayout(*row), {}};
    if (saying) layouts.saying = saying->layout;
    return layouts;
}

std::string LocalName(uint16_t id)
{
    const NameRow *row = FindRow(kNames, id);
    return row ? row->name : "";
}

std::vector<std::string> LocalNames()
{
    std::vector<std::string> names;
    for (const NameRow &row : kNames) names.push_back(row.name);
    return names;
}

bool LocalNumber(const std::string &text, uint16_t *id)
{
    int64_t number = -1;
    for (const NameRow &row : kNames)
        if (row.name == text) number = row.id;
    if (number < 0 && !ParseNumber(text, 0, UINT16_MAX, &number)) return false;
    *id = static_cast<uint16_t>(number);
    return true;
}

} // namespace sim
