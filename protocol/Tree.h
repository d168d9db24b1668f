// Tree.h - decoded values as a tree of named fields, and its two renderings: for people and as JSON (RFC 8259).
// State: none. Threads: any.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace protocol
{

struct Field {
    enum class Kind { Text, Number, Flag, Null, Object, List };
    std::string name; // empty inside a list
    Kind kind;
    std::string value; // numbers as decimal text, which keeps 64-bit counters exact; flags "true" or "false"
    std::string unit;  // shown to people only
    std::vector<Field> children;
};
using Fields = std::vector<Field>;

Field TextField(const std::string &name, const std::string &value);
Field NumberField(const std::string &name, int64_t value, const std::string &unit = "");
Field RealField(const std::string &name, double value, int decimals, const std::string &unit = "");
Field FlagField(const std::string &name, bool value);
Field ObjectField(const std::string &name, Fields children);
Field ListField(const std::string &name, const std::vector<std::string> &texts);

// The field at `path`: names, and positions in lists (from 0), with dots between them. nullptr when there is none.
const Field *FindField(const Fields &fields, const std::string &path);

// Reads a JSON text into fields. False if it is not JSON.
bool FieldFromJson(const std::string &name, const std::string &text, Field *field);

// One object on one line. Bytes that are not UTF-8 are written as \u0080 to \u00ff.
std::string ToJson(const Fields &fields);

// A line "name  value unit" for each field, nested fields and texts of several lines indented further. Each line begins
// with `indent` blanks and ends with a newline.
std::string ToLines(const Fields &fields, size_t indent);

// The values of a list without objects and lists, separated by commas; empty for everything else.
std::string LeafList(const Field &field);

// A text in which control characters and bytes that are not UTF-8 are written as \xNN.
std::string Visible(const std::string &text);

} // namespace protocol
