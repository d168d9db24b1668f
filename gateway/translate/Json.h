// Json.h - JSON from outside, with bounds, and JSON for outside.
// State: none. Threads: any.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "gateway/translate/Fault.h"
#include "protocol/Tree.h"

namespace gateway
{

// Members stay in their order: what people read has the order of the tables.
using Json = nlohmann::ordered_json;

constexpr size_t kMaxJsonBytes = 65536; // of a question or command
constexpr size_t kMaxJsonDepth = 8;     // objects and lists inside each other

// The parameters of a question or command as they arrived: one object; nothing at all, or blanks, is an empty one. Throws
// a Fault "bad_json" if the text is longer or deeper than the bounds, is no JSON object, or names a member twice.
Json ReadParameters(std::string_view text);

// What other programs have written: an empty object in place of everything that is none.
Json ReadObject(const std::string &text);

// A member: empty or 0 in place of everything that is no text, or no whole number.
std::string TextOf(const Json &object, const char *name);
int64_t NumberOf(const Json &object, const char *name);

// On one line. Never fails: texts that are not UTF-8, which only others than these procedures make, get U+FFFD.
std::string JsonText(const Json &json);

// Decoded fields as members of one object. Whole numbers stay exact up to 64 bits.
Json FieldsJson(const protocol::Fields &fields);

// Any text of a router as a JSON string: bytes that are not UTF-8 become U+0080 to U+00FF.
Json TextJson(const std::string &text);

} // namespace gateway
