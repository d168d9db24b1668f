#include "protocol/Bytes.h"

#include <algorithm>
#include <cctype>

namespace protocol
{

std::string ToHex(const Bytes &bytes, char separator)
{
    static const char kDigits[] = "0123456789abcdef";
    std::string text;
    text.reserve(bytes.size() * 3);
    for (size_t i = 0; i < bytes.size(); i++) {
        if (separator && i > 0) text += separator;
        text += kDigits[bytes[i] >> 4];
        text += kDigits[bytes[i] & 15];
    }
    return text;
}

static int DigitValue(char c)
{
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

bool FromHex(const std::string &text, Bytes *bytes)
{
    bytes->clear();
    for (size_t i = 0; i < text.size(); i++) {
        if (text[i] == ':' || isspace(static_cast<unsigned char>(text[i]))) continue;
        const int high = DigitValue(text[i]);
        const int low = i + 1 < text.size() ? DigitValue(text[++i]) : -1;
        if (high < 0 || low < 0) return false;
        bytes->push_back(static_cast<uint8_t>(high << 4 | low));
    }
    return true;
}

std::string MacText(const Bytes &mac)
{
    return ToHex(mac, ':');
}

Bytes ToBytes(const std::string &text)
{
    return Bytes(text.begin(), text.end());
}

std::string FieldText(const Bytes &field)
{
    return std::string(field.begin(), std::find(field.begin(), field.end(), 0));
}

void Append(Bytes *to, const Bytes &more)
{
    to->insert(to->end(), more.begin(), more.end());
}

} // namespace protocol
