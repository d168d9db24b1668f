#include "gateway/translate/Json.h"

#include <set>
#include <vector>

namespace gateway
{

Json ReadParameters(std::string_view text)
{
    const auto bad = [](const std::string &sentence) { return Fault("bad_json", sentence); };
    if (text.size() > kMaxJsonBytes)
        throw bad("the text has " + std::to_string(text.size()) + " bytes, and " + std::to_string(kMaxJsonBytes) +
                  " are the most");
    if (text.find_first_not_of(" \t\r\n") == std::string_view::npos) return Json::object();
    // The parser takes a zero character for the end.
    if (text.find('\0') != std::string_view::npos) throw bad("the text is no JSON");
    bool deep = false, twice = false;
    std::vector<std::set<std::string>> names; // of the objects that are open
    const auto check = [&](int depth, Json::parse_event_t event, const Json &parsed) {
        if (event == Json::parse_event_t::object_start) names.emplace_back();
        if (event == Json::parse_event_t::object_end) names.pop_back();
        if (event == Json::parse_event_t::key && !names.back().insert(parsed.get<std::string>()).second) twice = true;
        if (static_cast<size_t>(depth) > kMaxJsonDepth) deep = true;
        return !deep;
    };
    Json json = Json::parse(text.begin(), text.end(), check, false);
    if (deep) throw bad("the text has more than " + std::to_string(kMaxJsonDepth) + " objects inside each other");
    if (json.is_discarded()) throw bad("the text is no JSON");
    if (!json.is_object()) throw bad("the text is no JSON object");
    if (twice) throw bad("an object names a member twice");
    return json;
}

Json ReadObject(const std::string &text)
{
    Json json = Json::parse(text, nullptr, false);
    return json.is_object() ? json : Json::object();
}

std::string TextOf(const Json &object, const char *name)
{
    const Json member = object.is_object() ? object.value(name, Json()) : Json();
    return member.is_string() ? member.get<std::string>() : "";
}

int64_t NumberOf(const Json &object, const char *name)
{
    const Json member = object.is_object() ? object.value(name, Json()) : Json();
    return member.is_number_integer() ? member.get<int64_t>() : 0;
}

std::string JsonText(const Json &json)
{
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

Json FieldsJson(const protocol::Fields &fields)
{
    return ReadObject(protocol::ToJson(fields));
}

Json TextJson(const std::string &text)
{
    return FieldsJson({protocol::TextField("text", text)})["text"];
}

} // namespace gateway
