#include "protocol/Tree.h"

#include <algorithm>
#include <cjson/cJSON.h>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace protocol
{

Field TextField(const std::string &name, const std::string &value)
{
    return {name, Field::Kind::Text, value, "", {}};
}

Field NumberField(const std::string &name, int64_t value, const std::string &unit)
{
    return {name, Field::Kind::Number, std::to_string(value), unit, {}};
}

Field RealField(const std::string &name, double value, int decimals, const std::string &unit)
{
    char text[64];
    snprintf(text, sizeof text, "%.*f", decimals, value);
    return {name, Field::Kind::Number, text, unit, {}};
}

Field FlagField(const std::string &name, bool value)
{
    return {name, Field::Kind::Flag, value ? "true" : "false", "", {}};
}

Field ObjectField(const std::string &name, Fields children)
{
    return {name, Field::Kind::Object, "", "", std::move(children)};
}

Field ListField(const std::string &name, const std::vector<std::string> &texts)
{
    Field list = {name, Field::Kind::List, "", "", {}};
    for (const std::string &text : texts) list.children.push_back(TextField("", text));
    return list;
}

const Field *FindField(const Fields &fields, const std::string &path)
{
    const size_t dot = path.find('.');
    const std::string first = path.substr(0, dot);
    for (const Field &field : fields) {
        if (field.name != first) continue;
        if (dot == std::string::npos) return &field;
        const std::string rest = path.substr(dot + 1);
        if (field.kind != Field::Kind::List) return FindField(field.children, rest);
        char *end = nullptr;
        const unsigned long index = strtoul(rest.c_str(), &end, 10);
        if (end == rest.c_str() || index >= field.children.size()) return nullptr;
        const Field &element = field.children[index];
        if (*end == '\0') return &element;
        return *end == '.' ? FindField(element.children, end + 1) : nullptr;
    }
    return nullptr;
}

static Field FromCjson(const std::string &name, const cJSON *item)
{
    if (cJSON_IsString(item)) return TextField(name, item->valuestring);
    if (cJSON_IsBool(item)) return FlagField(name, cJSON_IsTrue(item));
    if (cJSON_IsNumber(item)) {
        // Doubles hold whole numbers exactly up to 2^53.
        const double number = item->valuedouble;
        if (std::fabs(number) < 9007199254740992.0 && number == std::floor(number))
            return NumberField(name, static_cast<int64_t>(number));
        char text[40];
        snprintf(text, sizeof text, "%.17g", number);
        return {name, std::isfinite(number) ? Field::Kind::Number : Field::Kind::Text, text, "", {}};
    }
    if (cJSON_IsObject(item) || cJSON_IsArray(item)) {
        const bool list = cJSON_IsArray(item);
        Field field = {name, list ? Field::Kind::List : Field::Kind::Object, "", "", {}};
        const cJSON *child;
        cJSON_ArrayForEach(child, item)
            field.children.push_back(FromCjson(list || !child->string ? "" : child->string, child));
        return field;
    }
    return {name, Field::Kind::Null, "null", "", {}};
}

bool FieldFromJson(const std::string &name, const std::string &text, Field *field)
{
    cJSON *root = cJSON_ParseWithLengthOpts(text.c_str(), text.size() + 1, nullptr, 1);
    if (!root) return false;
    *field = FromCjson(name, root);
    cJSON_Delete(root);
    return true;
}

// The length of the UTF-8 sequence (RFC 3629) that starts at `at`, 0 when there is none.
static size_t Utf8Length(const std::string &text, size_t at)
{
    const auto byte = [&](size_t i) { return static_cast<unsigned char>(i < text.size() ? text[i] : 0); };
    const unsigned char lead = byte(at);
    size_t length = lead < 0x80                    ? 1
                    : lead >= 0xC2 && lead <= 0xDF ? 2
                    : lead >= 0xE0 && lead <= 0xEF ? 3
                    : lead >= 0xF0 && lead <= 0xF4 ? 4
                                                   : 0;
    for (size_t i = 1; i < length; i++)
        if ((byte(at + i) & 0xC0) != 0x80) return 0;
    const unsigned char second = byte(at + 1);
    if ((lead == 0xE0 && second < 0xA0) || (lead == 0xED && second > 0x9F) || (lead == 0xF0 && second < 0x90) ||
        (lead == 0xF4 && second > 0x8F))
        return 0;
    return length;
}

static std::string Quoted(const std::string &text)
{
    std::string out = "\"";
    for (size_t i = 0; i < text.size();) {
        const unsigned char c = static_cast<unsigned char>(text[i]);
        const size_t length = Utf8Length(text, i);
        if (c == '"' || c == '\\') {
            out += '\\';
            out += text[i++];
        } else if (c == '\n') {
            out += "\\n";
            i++;
        } else if (c < 0x20 || c == 0x7F || length == 0) {
            char escape[8];
            snprintf(escape, sizeof escape, "\\u%04x", c);
            out += escape;
            i++;
        } else {
            out.append(text, i, length);
            i += length;
        }
    }
    return out + '"';
}

static void WriteJson(const Field &field, std::string *out)
{
    switch (field.kind) {
    case Field::Kind::Text: *out += Quoted(field.value); return;
    case Field::Kind::Number:
    case Field::Kind::Flag:
    case Field::Kind::Null: *out += field.value; return;
    case Field::Kind::Object:
    case Field::Kind::List: break;
    }
    const bool list = field.kind == Field::Kind::List;
    *out += list ? '[' : '{';
    bool first = true;
    for (const Field &child : field.children) {
        if (!first) *out += ',';
        first = false;
        if (!list) *out += Quoted(child.name) + ':';
        WriteJson(child, out);
    }
    *out += list ? ']' : '}';
}

std::string ToJson(const Fields &fields)
{
    std::string out;
    WriteJson(ObjectField("", fields), &out);
    return out;
}

std::string Visible(const std::string &text)
{
    std::string out;
    for (size_t i = 0; i < text.size();) {
        const unsigned char c = static_cast<unsigned char>(text[i]);
        const size_t length = Utf8Length(text, i);
        if (c < 0x20 || c == 0x7F || length == 0) {
            char escape[8];
            snprintf(escape, sizeof escape, c == '\n' ? "\\n" : "\\x%02x", c);
            out += escape;
            i++;
        } else {
            out.append(text, i, length);
            i += length;
        }
    }
    return out;
}

std::string LeafList(const Field &field)
{
    std::string text;
    if (field.kind != Field::Kind::List) return text;
    for (const Field &child : field.children) {
        if (!child.children.empty()) return "";
        text += (text.empty() ? "" : ", ") + Visible(child.value);
    }
    return text;
}

// A text of several lines, each indented by `indent` blanks.
static std::string TextLines(const std::string &text, size_t indent)
{
    std::string out;
    for (size_t at = 0; at < text.size();) {
        const size_t end = std::min(text.find('\n', at), text.size());
        out += (end > at ? std::string(indent, ' ') + Visible(text.substr(at, end - at)) : "") + '\n';
        at = end + 1;
    }
    return out;
}

std::string ToLines(const Fields &fields, size_t indent)
{
    size_t width = 0;
    for (const Field &field : fields) width = std::max(width, field.name.size());
    std::string out;
    size_t position = 0;
    for (const Field &field : fields) {
        const std::string name = field.name.empty() ? std::to_string(position) : field.name;
        position++;
        out += std::string(indent, ' ') + name;
        const std::string leaves = LeafList(field);
        if (leaves.empty() && (field.kind == Field::Kind::Object || field.kind == Field::Kind::List)) {
            out += '\n' + ToLines(field.children, indent + 2);
            continue;
        }
        if (field.value.find('\n') != std::string::npos) {
            out += '\n' + TextLines(field.value, indent + 2);
            continue;
        }
        out += std::string(width > name.size() ? width - name.size() + 2 : 2, ' ') +
               (leaves.empty() ? Visible(field.value) : leaves);
        if (!field.unit.empty()) out += ' ' + field.unit;
        out += '\n';
    }
    return out;
}

} // namespace protocol
