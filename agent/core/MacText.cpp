#include "core/MacText.h"

#include <cctype>
#include <cstring>

#include "core/Common.h"

static bool IsDigit(char c)
{
    return isxdigit(static_cast<unsigned char>(c)) != 0;
}

bool MacFromText(const char *text, char separator, uint8_t *mac)
{
    uint8_t bytes[kMacSize] = {};
    for (uint8_t &byte : bytes) {
        if (separator && &byte != bytes && *text++ != separator) return false;
        if (!IsDigit(text[0]) || !IsDigit(text[1])) return false; // never past the terminator
        CharToHex(&byte, text);
        text += 2;
    }
    memcpy(mac, bytes, sizeof bytes);
    return true;
}
