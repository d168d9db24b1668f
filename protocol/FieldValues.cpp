#include "protocol/FieldValues.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "protocol/Numbers.h"

namespace protocol
{

NumberRange RangeOf(Type type)
{
    switch (type) {
    case Type::U8: return {0, UINT8_MAX};
    case Type::U16: return {0, UINT16_MAX};
    case Type::I16: return {INT16_MIN, INT16_MAX};
    case Type::U32: return {0, UINT32_MAX};
    case Type::I32: return {INT32_MIN, INT32_MAX};
    case Type::I64: return {INT64_MIN, INT64_MAX};
    default: return {0, UINT64_MAX};
    }
}

static void PutLittleEndian(uint64_t value, size_t size, Bytes *out)
{
    for (size_t i = 0; i < size; i++) out->push_back(static_cast<uint8_t>(value >> (8 * i)));
}

// A decimal or 0x number of up to 64 bits, as its two's complement.
static bool ParseWide(const std::string &text, const NumberRange &range, uint64_t *value)
{
    int64_t number;
    if (ParseNumber(text, range.low, INT64_MAX, &number)) {
        *value = static_cast<uint64_t>(number);
        return number < 0 || *value <= range.high;
    }
    if (range.high <= INT64_MAX || text.empty() || text[0] < '0' || text[0] > '9') return false;
    errno = 0;
    char *end = nullptr;
    *value = strtoull(text.c_str(), &end, text.find("0x") == 0 ? 16 : 10);
    return errno == 0 && *end == '\0' && end != text.c_str() && *value <= range.high;
}

static bool Refuse(const FieldLayout &field, const std::string &reason, std::string *error)
{
    *error = std::string(field.name) + ": " + reason;
    return false;
}

static bool PutNumber(const FieldLayout &field, const std::string &text, Bytes *out, std::string *error)
{
    const NumberRange range = RangeOf(field.type);
    uint64_t value = 0;
    const char *const *names = field.values.names;
    const char *const *end = names + field.values.count;
    const char *const *found = std::find(names, end, text);
    if (found != end) {
        value = static_cast<uint64_t>(found - names);
    } else if (!ParseWide(text, range, &value)) {
        std::string wanted;
        for (const char *const *name = names; name != end; name++) wanted += std::string(*name) + ", ";
        const std::string kind = wanted.empty() ? "not a number" : "neither one of " + wanted + "nor a number";
        return Refuse(field,
                      "'" + text + "' is " + kind + " from " + std::to_string(range.low) + " to " +
                          std::to_string(range.high),
                      error);
    }
    PutLittleEndian(value, field.size, out);
    return true;
}

static bool PutIp(const FieldLayout &field, const std::string &text, Bytes *out, std::string *error)
{
    uint8_t octets[4];
    if (inet_pton(AF_INET, text.c_str(), octets) != 1)
        return Refuse(field, "'" + text + "' is not an IPv4 address such as 192.168.1.20", error);
    out->insert(out->end(), std::rbegin(octets), std::rend(octets));
    return true;
}

// Twelve digits, all without or all with colons.
static bool PutMac(const FieldLayout &field, const std::string &text, Bytes *out, std::string *error)
{
    Bytes mac;
    const bool digits = FromHex(text, &mac) && mac.size() == 6;
    std::string lower = text;
    std::transform(lower.begin(), lower.end(), lower.begin(), [](unsigned char c) { return tolower(c); });
    if (!digits || (lower != ToHex(mac) && lower != MacText(mac)))
        return Refuse(field, "'" + text + "' is not a MAC such as 02:1A:2B:00:00:01", error);
    Append(out, mac);
    return true;
}

static bool PutPadded(const FieldLayout &field, Bytes bytes, Bytes *out, std::string *error)
{
    if (bytes.size() > field.size)
        return Refuse(
            field, std::to_string(bytes.size()) + " bytes, and there is room for " + std::to_string(field.size), error);
    bytes.resize(field.size);
    Append(out, bytes);
    return true;
}

bool PutValue(const FieldLayout &field, const std::string &text, Bytes *out, std::string *error)
{
    Bytes bytes;
    switch (field.type) {
    case Type::Ip: return PutIp(field, text, out, error);
    case Type::Mac: return PutMac(field, text, out, error);
    case Type::Text: return PutPadded(field, ToBytes(text), out, error);
    case Type::Opaque:
        if (!FromHex(text, &bytes)) return Refuse(field, "'" + text + "' is not hexadecimal", error);
        return PutPadded(field, bytes, out, error);
    case Type::TextToEnd: Append(out, ToBytes(text)); return true;
    case Type::LongText:
        if (text.size() > UINT16_MAX) return Refuse(field, "more than 65535 bytes", error);
        PutLittleEndian(text.size(), 2, out);
        Append(out, ToBytes(text));
        return true;
    case Type::U8:
    case Type::U16:
    case Type::I16:
    case Type::U32:
    case Type::I32:
    case Type::U64:
    case Type::I64: return PutNumber(field, text, out, error);
    case Type::Date:
    case Type::Zeros:
    case Type::Always:
    case Type::Length:
    case Type::BytesToEnd:
    case Type::List:
    case Type::CountedList: break;
    }
    return Refuse(field, "cannot be given", error);
}

void PutInitial(const FieldLayout &field, Bytes *out)
{
    const bool none = field.initial == kMustBeGiven;
    PutLittleEndian(none ? 0 : static_cast<uint64_t>(field.initial), std::min<size_t>(field.size, 8), out);
    if (field.size > 8) out->resize(out->size() + field.size - 8);
    if (field.type == Type::LongText) PutLittleEndian(0, 2, out);
}

static Bytes TakeBytes(WireReader *r, size_t size)
{
    const uint8_t *at = WireTake(r, size);
    return at ? Bytes(at, at + size) : Bytes(size);
}

static Field UnsignedField(const FieldLayout &field, uint64_t value)
{
    if (value < field.values.count) return TextField(field.name, field.values.names[value]);
    return {field.name, Field::Kind::Number, std::to_string(value), field.unit, {}};
}

static std::string DateText(const Bytes &date)
{
    char text[32];
    snprintf(text, sizeof text, "%02u%02u-%02u-%02u", date[0], date[1], date[2], date[3]);
    return text;
}

static std::string IpText(const Bytes &reversed)
{
    std::string text;
    for (auto octet = reversed.rbegin(); octet != reversed.rend(); ++octet)
        text += (text.empty() ? "" : ".") + std::to_string(*octet);
    return text;
}

static std::string PlainText(const Bytes &bytes)
{
    return std::string(bytes.begin(), bytes.end());
}

bool TakeValue(const FieldLayout &field, WireReader *r, Field *value)
{
    const std::string name = field.name;
    switch (field.type) {
    case Type::U8: *value = UnsignedField(field, WireGet8(r)); return true;
    case Type::U16: *value = UnsignedField(field, WireGetLe16(r)); return true;
    case Type::U32: *value = UnsignedField(field, WireGetLe32(r)); return true;
    case Type::U64: *value = UnsignedField(field, WireGetLe64(r)); return true;
    case Type::I16: *value = NumberField(name, static_cast<int16_t>(WireGetLe16(r)), field.unit); return true;
    case Type::I32: *value = NumberField(name, static_cast<int32_t>(WireGetLe32(r)), field.unit); return true;
    case Type::I64: *value = NumberField(name, static_cast<int64_t>(WireGetLe64(r)), field.unit); return true;
    case Type::Ip: *value = TextField(name, IpText(TakeBytes(r, 4))); return true;
    case Type::Mac: *value = TextField(name, MacText(TakeBytes(r, 6))); return true;
    case Type::Date: *value = TextField(name, DateText(TakeBytes(r, 4))); return true;
    case Type::Text: *value = TextField(name, FieldText(TakeBytes(r, field.size))); return true;
    case Type::Opaque: *value = TextField(name, ToHex(TakeBytes(r, field.size))); return true;
    case Type::TextToEnd: *value = TextField(name, PlainText(TakeBytes(r, r->left))); return true;
    case Type::BytesToEnd: *value = TextField(name, ToHex(TakeBytes(r, r->left))); return true;
    case Type::LongText: {
        const uint16_t length = WireGetLe16(r);
        *value = TextField(name, PlainText(TakeBytes(r, length)));
        return true;
    }
    case Type::Zeros:
    case Type::Always:
    case Type::Length: WireTake(r, field.size); return false;
    case Type::List:
    case Type::CountedList: break;
    }
    return false;
}

} // namespace protocol
