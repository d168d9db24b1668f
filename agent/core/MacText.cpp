#include "core/MacText.h"

#include <cstdio>
#include <cstring>

#include "core/Common.h"

const char *MacToText(const uint8_t *mac, char separator, MacCase digits, char (&text)[kMacTextSize])
{
    const char *const hex = digits == MAC_UPPER_CASE ? "0123456789ABCDEF" : "0123456789abcdef";
    char *end = text;
    for (size_t i = 0; i < kMacSize; i++) {
        if (separator && i > 0) *end++ = separator;
        *end++ = hex[mac[i] >> 4];
        *end++ = hex[mac[i] & 15];
    }
    *end = '\0';
    return text;
}

bool MacFromText(const char *text, char separator, uint8_t *mac)
{
    uint8_t bytes[kMacSize] = {};
    for (uint8_t &byte : bytes) {
        if (separator && &byte != bytes && *text++ != separator) return false;
        uint8_t high, low;
        if (!HexDigit(*text++, &high) || !HexDigit(*text++, &low)) return false; // never past the terminator
        byte = static_cast<uint8_t>(high << 4 | low);
    }
    memcpy(mac, bytes, sizeof bytes);
    return true;
}

bool MacScan(const char *text, char separator, uint8_t *mac)
{
    memset(mac, 0, kMacSize);
    const char *const format = separator ? "%hhx:%hhx:%hhx:%hhx:%hhx:%hhx" : "%2hhx%2hhx%2hhx%2hhx%2hhx%2hhx";
    // cppcheck-suppress invalidScanfArgType_int ; these are bytes
    return sscanf(text, format, mac, mac + 1, mac + 2, mac + 3, mac + 4, mac + 5) != EOF;
}

void MacFromAnyText(const char *text, uint8_t *mac)
{
    for (size_t i = 0; i < kMacSize; i++) CharToHex(mac + i, text + 2 * i);
}
