// Common.h - diagnostics, byte order and small text helpers for the whole agent.
// State:    `log_level` and `mEndType`, written at start-up before any other thread runs, read by all.
// Threads:  all procedures but the two setters are safe anywhere; a log line is written as a whole.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <type_traits>

// ---- Log ----------------------------------------------------------------------------------------------------------
//
// Everything goes to standard error. A line is: time stamp and level name, a coloured "[module->function->line]-> ",
// the text in colour, an empty line. Each source names itself before its includes: #define LOG_MODULE "TcpServer".
// Some texts are logged under the name of another procedure than the one that writes them: LOG_AS takes that name. The
// names are fixed, tests/unit/agent/LogNames.cpp lists them.

enum LogLevel : uint32_t {
    LOG_LEVEL_NONE = 0,
    LOG_LEVEL_ERR = 1,
    LOG_LEVEL_WARN = 2,
    LOG_LEVEL_NOTICE = 4,
    LOG_LEVEL_INFO = 8,
    LOG_LEVEL_DEBUG = 16,
    LOG_LEVEL_ALL = 31,
};

extern uint32_t log_level; // bit mask of the admitted levels; errors only at first

// Stores the mask of admitted levels. Start-up only.
void d_set_log_level(uint32_t level);

// Whether a line of `level` is admitted. If so, the time stamp and the level's name have been printed; the caller
// prints prefix and message. A value that is not exactly one of the bits 1 to 32 is never admitted.
bool d_log_filter(uint32_t level);

// Prints the local time to whole seconds (whatever the name says) and the name of level bit `bit` (0 to 5):
// "2026-3-9 07:05:00 [ERR]", no blank and no newline behind it.
void d_time_in_microseconds(unsigned bit);

// The modules that log. What is passed at every place is a module's number.
constexpr char kLogModules[][12] = {"CommServer", "Common",  "Download",   "Function39", "Function40", "ParseJson",
                                    "Plug",       "Protool", "ProtoolSdk", "RouteFunc",  "Subdev",     "TcpQueue",
                                    "TcpServer",  "eaccess", "iot_poll",   "iot_signal"};

// The number of a module. The compiler rejects a name that is not in the list.
constexpr uint32_t LogModule(const char *name)
{
    uint32_t module = 0;
    while (__builtin_strcmp(kLogModules[module], name) != 0) module++;
    return module;
}

// Source line, module and level of a log line in one number: every place that logs passes two arguments less. Up to line
// 511 it has 16 bits, which fit in an instruction. `level` is one bit.
constexpr unsigned kLogLevelBits = 3, kLogModuleBits = 4;
static_assert(sizeof kLogModules / sizeof kLogModules[0] <= 1u << kLogModuleBits, "a number has no place for a module");
constexpr uint32_t LogPlace(uint32_t level, uint32_t module, uint32_t line)
{
    return (line << kLogModuleBits | module) << kLogLevelBits | static_cast<uint32_t>(__builtin_ctz(level));
}

// One line, if the level of `place` is admitted. Use the macros below: they evaluate no argument of a line that is not,
// except of errors, which are rare.
void LogLine(uint32_t place, const char *function, const char *format, ...) __attribute__((format(printf, 3, 4)));

// Whether a text has arguments. Only then the macros test the level before the call.
template <typename... Arguments>
std::bool_constant<(sizeof...(Arguments) > 0)> LogHasArguments(const char *, const Arguments &...);

// An error because of which the agent cannot run: logged or, when errors are not logged, printed in one line on
// standard error. Ends the process with status -1.
[[noreturn]] void LogFatal(uint32_t place, const char *function, const char *text);

#define LOG_PLACE(level) std::integral_constant<uint32_t, LogPlace((level), LogModule(LOG_MODULE), __LINE__)>::value
#define LOG_FATAL(function, text) LogFatal(LOG_PLACE(LOG_LEVEL_ERR), (function), (text))
#define LOG_AS(level, function, ...)                                                                                   \
    do {                                                                                                               \
        if ((level) == LOG_LEVEL_ERR || !decltype(LogHasArguments(__VA_ARGS__))::value || ((level)&log_level))         \
            LogLine(LOG_PLACE(level), (function), __VA_ARGS__);                                                        \
    } while (0)
#define LOG_ERR(...) LOG_AS(LOG_LEVEL_ERR, __func__, __VA_ARGS__)
#define LOG_WARN(...) LOG_AS(LOG_LEVEL_WARN, __func__, __VA_ARGS__)
#define LOG_INFO(...) LOG_AS(LOG_LEVEL_INFO, __func__, __VA_ARGS__)
#define LOG_DEBUG(...) LOG_AS(LOG_LEVEL_DEBUG, __func__, __VA_ARGS__)

// Prints bytes in hexadecimal on standard output, for -d: one whole line, whatever other threads print.
void PrintBytes(const uint8_t *bytes, size_t size);

// ---- Byte order ---------------------------------------------------------------------------------------------------
//
// The three conditional helpers swap only when mEndType is not 0, and nothing ever sets it so: the platform expects the
// router's little-endian order in every field that passes through them. This has to stay so.

extern uint32_t mEndType;

// Sets mEndType to 0 on every path and returns 0.
int GetEndType();

uint16_t swapInt16(uint16_t v);
uint32_t swapInt32(uint32_t v);
uint64_t swapInt64(uint64_t v);

// Stores the bytes of `v` reversed at `dest` (4 bytes, any alignment), whatever mEndType says.
void swapNet32(void *dest, uint32_t v);

// ---- Text ---------------------------------------------------------------------------------------------------------

// Stores the value of a hexadecimal digit. Returns false, without storing anything, when `c` is none.
[[nodiscard]] bool HexDigit(char c, uint8_t *value);

// Stores the byte that the two hexadecimal digits text[0] and text[1] stand for, high nibble first. When text[0] is no
// digit, the byte keeps its content and the low nibble is OR-ed into it; when text[1] is none, nothing is OR-ed. This
// has to stay so: callers rely on the untouched byte.
void CharToHex(uint8_t *dest, const char *text);

// Base64 of RFC 4648, section 4, with "=" padding. Both store the size of the result in *outLen (the encoder writes no
// terminator) and return 0, or -1 without writing when `capacity` is smaller. The decoder skips CR LF and LF, and
// returns -2 for characters outside the alphabet or padding in a wrong place. outLen must not be null; `out` may be
// when `capacity` is 0.
[[nodiscard]] int Base64Encode(const uint8_t *in, size_t inLen, char *out, size_t capacity, size_t *outLen);
[[nodiscard]] int Base64Decode(const char *in, size_t inLen, uint8_t *out, size_t capacity, size_t *outLen);
