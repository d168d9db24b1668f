#include "simulator/manager/LocalRequests.h"

#include <algorithm>
#include <functional>
#include <iterator>

#include "protocol/FunctionDecoders.h"

namespace sim
{

namespace
{

constexpr FieldLayout kIndexFields[] = {Number(Type::U16, "wan", "", "index of the WAN")};
constexpr Layout kIndex = {kIndexFields};
constexpr uint8_t kRefused = 1;
constexpr uint16_t kWanReport = 81;

enum class Payload {
    Empty,
    Mark,   // "i"
    Record, // of a layout: the function's parameters unless the row has another one
    Json,
};

using Answer = std::function<LocalAnswer(const Bytes &payload, const LocalKnowledge &knowledge)>;

struct RequestRow {
    uint16_t id;
    const char *name; // nullptr: the function's
    Payload payload;
    Layout layout;
    Answer answer;
};

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

// The answer is a setting.
Answer Tell(const char *setting)
{
    return [setting](const Bytes &, const LocalKnowledge &k) { return Data(k.household->Value(setting)); };
}

// The request is one.
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

// A calibration wants no answer.
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

// The result is all that an answer holds.
LocalAnswer Firmware(const Bytes &, const LocalKnowledge &k)
{
    const uint8_t result = k.household->Number("firmware-result");
    return {result != kNoFirmwareResult, result, {}, ""};
}

const RequestRow kRequests[] = {
    {1, "get-version", Payload::Empty, {}, Tell("version")},
    {2, "get-base-info", Payload::Empty, {}, Tell("version")},
    {3, "get-wan-config", Payload::Empty, {}, FirstWan},
    {4, "get-wan-configs", Payload::Empty, {}, AllWans},
    {5, "get-wan-connections", Payload::Record, kIndex, NoConnections},
    {70, nullptr, Payload::Record, {}, WifiBand},
    {71, nullptr, Payload::Mark, {}, Tell("mesh-support")},
    {72, nullptr, Payload::Record, {}, SetMesh},
    {73, nullptr, Payload::Mark, {}, Tell("mesh")},
    {74, nullptr, Payload::Record, {}, Keep("roaming")},
    {75, nullptr, Payload::Mark, {}, Tell("roaming")},
    {76, nullptr, Payload::Record, {}, Keep("thresholds")},
    {77, nullptr, Payload::Mark, {}, Tell("thresholds")},
    {78, nullptr, Payload::Mark, {}, Topology},
    {79, nullptr, Payload::Mark, {}, Scan},
    {80, nullptr, Payload::Mark, {}, Tell("bssid")},
    {82, nullptr, Payload::Record, {}, SetWan},
    {83, nullptr, Payload::Mark, {}, DoneAlways},
    {85, nullptr, Payload::Mark, {}, DoneAlways},
    {88, nullptr, Payload::Json, {}, SetAutoReport},
    {997, "auto-report-config", Payload::Mark, {}, AutoReport},
    {998, "plugin-state", Payload::Json, {}, Silence},
    {999, "firmware-update", Payload::Record, kHandOver, Firmware},
};

// What the management process says by itself.
constexpr FieldLayout kDevicesFields[] = {CountedList("devices", kSeenDevice, kMaxSeenDevices, "that came or went")};
constexpr FieldLayout kTextReportFields[] = {TextToEnd("text", "JSON")};
constexpr FieldLayout kTypedReportFields[] = {Number(Type::U8, "type", "", "1, 2 or 3"),
                                              TextToEnd("text", "what is reported")};
constexpr FieldLayout kResultFields[] = {Number(Type::U8, "code", "", "0 done, otherwise what went wrong")};

struct SayingRow {
    uint16_t id;
    const char *name; // nullptr: the request's
    Layout layout;
};
const SayingRow kSayings[] = {
    {40, "devices", kDevicesFields},
    {81, "wan-report", kWan},
    {84, "report-84", kTextReportFields},
    {86, "report-86", kTextReportFields},
    {89, "typed-report", kTypedReportFields},
    {998, nullptr, kTextReportFields},
    {999, nullptr, kResultFields},
};

const char *NameOf(const RequestRow &row)
{
    return row.name ? row.name : FindFunction(row.id)->name;
}

const RequestRow *FindRequest(uint16_t id)
{
    const auto row =
        std::find_if(std::begin(kRequests), std::end(kRequests), [&](const RequestRow &r) { return r.id == id; });
    return row == std::end(kRequests) ? nullptr : &*row;
}

Layout RequestLayout(const RequestRow &row)
{
    return row.layout.count > 0 ? row.layout : FindFunction(row.id)->layout.request;
}

// The decoded payload. What must not be is added to `problems`.
Fields Decode(const RequestRow &row, const Bytes &payload, std::vector<std::string> *problems)
{
    const std::string text(payload.begin(), payload.end());
    std::string problem;
    Fields fields;
    Field json;
    switch (row.payload) {
    case Payload::Empty:
        if (!payload.empty()) problem = std::to_string(payload.size()) + " bytes of payload instead of none";
        break;
    case Payload::Mark:
        if (text != "i") problem = "the payload is not the one byte i";
        break;
    case Payload::Record: {
        const Layout layout = RequestLayout(row);
        fields = DecodeRecord(layout, payload, &problem);
        // The addresses of a whole WAN are in network order.
        if (problem.empty() && layout.Shared()) fields = ShowRecord(layout, WithAddressesTurned(layout, payload));
        break;
    }
    case Payload::Json:
        if (!FieldFromJson("", text, &json) || json.kind != Field::Kind::Object)
            problem = "the payload is no JSON object";
        fields = json.children;
        break;
    }
    if (!problem.empty()) problems->push_back(problem);
    return fields;
}

Fields DecodeAnswer(const RequestRow &row, const LocalAnswer &answer)
{
    std::string problem;
    const Function *function = FindFunction(row.id);
    if (answer.status != 0 || !answer.wanted) return {};
    if (function && function->layout.reply.count > 0 && row.name == nullptr)
        return DecodeRecord(function->layout.reply, answer.data, &problem);
    Field json;
    if (FieldFromJson("", std::string(answer.data.begin(), answer.data.end()), &json)) return json.children;
    return {};
}

} // namespace

LocalExchange AnswerRequest(const LocalFrame &request, const LocalKnowledge &knowledge)
{
    LocalExchange exchange;
    exchange.answer.wanted = false;
    const RequestRow *row = FindRequest(request.id);
    if (!row) {
        exchange.problems.push_back("there is no request " + std::to_string(request.id));
        return exchange;
    }
    exchange.name = NameOf(*row);
    exchange.fields = Decode(*row, request.payload, &exchange.problems);
    if (!exchange.problems.empty()) return exchange;
    exchange.answer = row->answer(request.payload, knowledge);
    exchange.answerFields = DecodeAnswer(*row, exchange.answer);
    return exchange;
}

Fields DecodeSaying(uint16_t id, const Bytes &payload)
{
    for (const SayingRow &row : kSayings) {
        if (row.id != id) continue;
        std::string problem;
        const Layout &layout = row.layout;
        return DecodeRecord(layout, id == kWanReport ? WithAddressesTurned(layout, payload) : payload, &problem);
    }
    return {};
}

// Of everything that has one: requests, and what is said without being asked.
static const std::vector<std::pair<uint16_t, std::string>> &AllNames()
{
    static const auto names = [] {
        std::vector<std::pair<uint16_t, std::string>> all;
        for (const RequestRow &row : kRequests) all.emplace_back(row.id, NameOf(row));
        for (const SayingRow &row : kSayings)
            if (row.name) all.emplace_back(row.id, row.name);
        return all;
    }();
    return names;
}

std::string LocalName(uint16_t id)
{
    for (const auto &entry : AllNames())
        if (entry.first == id) return entry.second;
    return "";
}

std::vector<std::string> LocalNames()
{
    std::vector<std::string> names;
    for (const auto &entry : AllNames()) names.push_back(entry.second);
    return names;
}

bool LocalNumber(const std::string &text, uint16_t *id)
{
    int64_t number = -1;
    for (const auto &entry : AllNames())
        if (entry.second == text) number = entry.first;
    if (number < 0 && !ParseNumber(text, 0, UINT16_MAX, &number)) return false;
    *id = static_cast<uint16_t>(number);
    return true;
}

} // namespace sim
