#include "gateway/translate/Json.h"

#include <algorithm>
#include <set>
#include <vector>

namespace gateway
{

static Fault BadJson(const std::string &sentence)
{
    return {"bad_json", sentence};
}

std::variant<Json, Fault> ReadParameters(std::string_view text)
{
    if (text.size() > kMaxJsonBytes)
        return BadJson("the text has " + std::to_string(text.size()) + " bytes, and " + std::to_string(kMaxJsonBytes) +
                       " are the most");
    if (text.find_first_not_of(" \t\r\n") == std::string_view::npos) return Json::object();
    // The parser takes a zero character for the end.
    if (text.find('\0') != std::string_view::npos) return BadJson("the text is no JSON");
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
    if (deep) return BadJson("the text has more than " + std::to_string(kMaxJsonDepth) + " objects inside each other");
    if (json.is_discarded()) return BadJson("the text is no JSON");
    if (!json.is_object()) return BadJson("the text is no JSON object");
    if (twice) return BadJson("an object names a member twice");
    return json;
}

std::string JsonText(const Json &json)
{
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

Json FieldsJson(const protocol::Fields &fields)
{
    Json json = Json::parse(protocol::ToJson(fields), nullptr, false);
    return json.is_object() ? json : Json::object();
}

Json TextJson(const std::string &text)
{
    return FieldsJson({protocol::TextField("text", text)})["text"];
}

} // namespace gateway
