#define LOG_MODULE "Common"
#include "core/Common.h"

#include <cstdarg>
#include <cstring>

#include "os/OsClock.h"
#include "os/OsProcess.h"

uint32_t log_level = LOG_LEVEL_ERR;
uint32_t mEndType = 0;

// By bit number. The filter admits bit 5 although it has no name.
static const char kLevelNames[][7] = {"ERR", "WARN", "NOTICE", "INFO", "DEBUG", "(null)"};
static const unsigned kLevelBits = sizeof kLevelNames / sizeof kLevelNames[0];

static const char kColourOff[] = "\033[0m";
static const char kRed[] = "\033[1;31m";
static const char kYellow[] = "\033[1;33m";
static const char kGreen[] = "\033[1;32m";

void d_set_log_level(uint32_t level)
{
    log_level = level;
}

bool d_log_filter(uint32_t level)
{
    if ((level & log_level) == 0) return false;
    for (unsigned bit = 0; bit < kLevelBits; bit++) {
        if (level == 1u << bit) {
            d_time_in_microseconds(bit);
            return true;
        }
    }
    return false;
}

void d_time_in_microseconds(unsigned bit)
{
    const char *name = kLevelNames[bit < kLevelBits ? bit : kLevelBits - 1];
    struct tm now;
    OsLocalTime(OsWallTime(), &now);
    fprintf(stderr, "%d-%d-%d %02d:%02d:%02d [%s]", now.tm_year + 1900, now.tm_mon + 1, now.tm_mday, now.tm_hour,
            now.tm_min, now.tm_sec, name);
}

void LogLine(uint32_t place, const char *function, const char *format, ...)
{
    const uint32_t level = 1u << (place & ((1u << kLogLevelBits) - 1));
    if ((level & log_level) == 0) return;
    const bool informational = level == LOG_LEVEL_INFO || level == LOG_LEVEL_NOTICE;
    const char *prefixColour = level == LOG_LEVEL_ERR ? kRed : informational ? kGreen : kYellow;
    const char *textColour = informational ? kGreen : kYellow;

    // Holding the stream keeps the pieces of one line together when several threads log.
    flockfile(stderr);
    if (d_log_filter(level)) {
        const char *module = kLogModules[place >> kLogLevelBits & ((1u << kLogModuleBits) - 1)];
        fprintf(stderr, "%s [%s->%s->%u]-> %s%s", prefixColour, module, function,
                place >> (kLogLevelBits + kLogModuleBits), kColourOff, textColour);
        va_list arguments;
        va_start(arguments, format);
        vfprintf(stderr, format, arguments);
        va_end(arguments);
        fprintf(stderr, "%s\n\n", kColourOff);
    }
    funlockfile(stderr);
}

void LogFatal(uint32_t place, const char *function, const char *text)
{
    if (LOG_LEVEL_ERR & log_level)
        LogLine(place, function, "%s", text);
    else
        fprintf(stderr, "plug: %s\n", text);
    OsExit(-1);
}

void PrintBytes(const uint8_t *bytes, size_t size)
{
    flockfile(stdout);
    for (size_t i = 0; i < size; i++) printf("%02X ", bytes[i]);
    printf("\n");
    fflush(stdout); // if it is no terminal, the line would wait in the buffer and be lost at a signal
    funlockfile(stdout);
}

int GetEndType()
{
    LOG_DEBUG("byte order");
    mEndType = 0;
    return 0;
}

uint16_t swapInt16(uint16_t v)
{
    return mEndType ? __builtin_bswap16(v) : v;
}

uint32_t swapInt32(uint32_t v)
{
    return mEndType ? __builtin_bswap32(v) : v;
}

uint64_t swapInt64(uint64_t v)
{
    return mEndType ? __builtin_bswap64(v) : v;
}

void swapNet32(void *dest, uint32_t v)
{
    v = __builtin_bswap32(v);
    memcpy(dest, &v, sizeof v); // dest may have any alignment
}

bool HexDigit(char c, uint8_t *value)
{
    if (c >= '0' && c <= '9')
        *value = static_cast<uint8_t>(c - '0');
    else if (c >= 'a' && c <= 'f')
        *value = static_cast<uint8_t>(c - 'a' + 10);
    else if (c >= 'A' && c <= 'F')
        *value = static_cast<uint8_t>(c - 'A' + 10);
    else
        return false;
    return true;
}

void CharToHex(uint8_t *dest, const char *text)
{
    uint8_t nibble;
    if (HexDigit(text[0], &nibble)) *dest = static_cast<uint8_t>(nibble << 4);
    if (HexDigit(text[1], &nibble)) *dest |= nibble;
}
