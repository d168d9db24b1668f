#include "sdk/linux/base/Texts.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <net/if.h>

static const char kLettersAndDigits[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";

static int HexDigit(char c)
{
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

bool ReadMac(const char *text, uint8_t mac[kMacSize])
{
    uint8_t bytes[kMacSize];
    for (size_t i = 0; i < kMacSize; i++) {
        const int high = HexDigit(text[0]);
        const int low = high < 0 ? -1 : HexDigit(text[1]);
        if (low < 0) return false;
        bytes[i] = uint8_t(high << 4 | low);
        text += 2;
        if (i + 1 < kMacSize && *text != ':' && *text != '-') return false;
        if (i + 1 < kMacSize) text++;
    }
    if (*text != '\0') return false;
    memcpy(mac, bytes, kMacSize);
    return true;
}

void WriteMac(const uint8_t mac[kMacSize], char text[kMacText])
{
    snprintf(text, kMacText, "%02x:%02x:%02x:%02x:%02x:%02x", mac[0], mac[1], mac[2], mac[3], mac[4], mac[5]);
}

bool SameMac(const uint8_t *a, const uint8_t *b)
{
    return memcmp(a, b, kMacSize) == 0;
}

bool IsDeviceMac(const uint8_t mac[kMacSize])
{
    static const uint8_t none[kMacSize] = {};
    return !(mac[0] & 1) && !SameMac(mac, none);
}

void CopyText(char *to, size_t size, const char *from)
{
    const size_t length = strnlen(from, size - 1);
    memcpy(to, from, length);
    to[length] = '\0';
}

void FillField(char *field, size_t size, const char *from)
{
    const size_t length = strnlen(from, size);
    memcpy(field, from, length);
    memset(field + length, 0, size - length);
}

bool ReadNumber(const char *text, int64_t least, int64_t most, int64_t *number)
{
    if (*text != '-' && (*text < '0' || *text > '9')) return false;
    char *end;
    errno = 0;
    const long long value = strtoll(text, &end, 10);
    if (end == text || *end != '\0' || errno != 0 || value < least || value > most) return false;
    *number = value;
    return true;
}

void CopyHostName(char *to, size_t size, const char *from, size_t length)
{
    size_t i = 0;
    for (; i < length && i + 1 < size && from[i]; i++) {
        const unsigned char c = static_cast<unsigned char>(from[i]);
        to[i] = c <= ' ' || c >= 127 || strchr("\"'`\\$&|;<>(){}*?!~#%", c) ? '_' : char(c);
    }
    to[i] = '\0';
}

bool WriteWord(const char *text, char *word, size_t size)
{
    for (; *text; text++) {
        const bool plain = strchr(kLettersAndDigits, *text) || strchr("._-:/", *text);
        const size_t length = plain ? 1 : 3;
        if (size <= length) return false;
        if (plain)
            *word = *text;
        else
            snprintf(word, size, "%%%02X", static_cast<unsigned char>(*text));
        word += length;
        size -= length;
    }
    if (size == 0) return false;
    *word = '\0';
    return true;
}

bool ReadWord(const char *word, char *text, size_t size)
{
    char *out = text;
    for (; *word; word++) {
        if (out + 1 >= text + size) return false;
        if (*word != '%') {
            *out++ = *word;
            continue;
        }
        const int high = HexDigit(word[1]);
        const int low = high < 0 ? -1 : HexDigit(word[2]);
        if (low < 0 || (high | low) == 0) return false;
        *out++ = char(high << 4 | low);
        word += 2;
    }
    *out = '\0';
    return true;
}

bool IsInterfaceName(const char *name)
{
    const size_t length = strlen(name);
    if (length == 0 || length >= IFNAMSIZ || strspn(name, ".") == length || name[0] == '-') return false;
    for (const char *c = name; *c; c++)
        if (!strchr(kLettersAndDigits, *c) && !strchr("._-@", *c)) return false;
    return true;
}
