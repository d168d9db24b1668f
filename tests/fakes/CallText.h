// CallText.h - calls as text, so that a test names in one line what was called with what:
// set_dns(1.1.1.1, 8.8.8.8), set_dev_name(02:11:22:33:44:55, "Printer"). A call without arguments is its bare name.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

struct ShownMac {
    const uint8_t *bytes; // 6
};
struct ShownIp {
    uint32_t inMemory; // the four bytes as they lie are the four octets
};
struct ShownBytes {
    const void *bytes; // as hex digits
    size_t size;
};

inline std::string HexText(const void *bytes, size_t size)
{
    std::string text;
    char digits[3];
    for (size_t i = 0; i < size; i++) {
        snprintf(digits, sizeof digits, "%02X", static_cast<const uint8_t *>(bytes)[i]);
        text += digits;
    }
    return text;
}

inline std::string Shown(ShownMac mac)
{
    char text[18];
    const uint8_t *b = mac.bytes;
    snprintf(text, sizeof text, "%02X:%02X:%02X:%02X:%02X:%02X", b[0], b[1], b[2], b[3], b[4], b[5]);
    return text;
}

inline std::string Shown(ShownIp ip)
{
    const uint8_t *octets = reinterpret_cast<const uint8_t *>(&ip.inMemory);
    char text[16];
    snprintf(text, sizeof text, "%d.%d.%d.%d", octets[0], octets[1], octets[2], octets[3]);
    return text;
}

inline std::string Shown(ShownBytes bytes)
{
    return HexText(bytes.bytes, bytes.size);
}

inline std::string Shown(const char *text)
{
    return '"' + std::string(text) + '"';
}

template <typename Number>
std::string Shown(Number number)
{
    return std::to_string(number);
}

template <typename... Arguments>
std::string CallText(const char *function, Arguments... arguments)
{
    std::string text;
    for (const std::string &argument : std::initializer_list<std::string>{Shown(arguments)...})
        text += (text.empty() ? "(" : ", ") + argument;
    return text.empty() ? function : function + text + ")";
}
