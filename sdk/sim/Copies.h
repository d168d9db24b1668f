// Copies.h - texts and switches between the household and the caller's buffers, and the functions that do no more.
// State:    none.
// Threads:  whoever holds the lock of Call.cpp.
#pragma once

#include <cstring>

#include "sdk/sim/Household.h"

// Fills all `size` bytes of the caller's buffer: the text, then zeros. A text that is longer is cut off, without a
// terminator. Returns SIM_OK.
inline int CopyOut(char *buffer, size_t size, const char *text)
{
    memset(buffer, 0, size);
    memcpy(buffer, text, strnlen(text, size));
    return SIM_OK;
}

// Takes a text over into its place of `size` bytes, and fills what is left with zeros. SIM_TOO_LONG, and the place is
// as it was, when there is no room for its terminator.
[[nodiscard]] inline int TakeText(char *place, size_t size, const char *text)
{
    const size_t length = strnlen(text, size);
    if (length == size) return SIM_TOO_LONG;
    memset(place, 0, size);
    memcpy(place, text, length);
    return SIM_OK;
}

// Takes a switch over: 0 or 1. SIM_BAD_VALUE, and the place is as it was, for anything else.
[[nodiscard]] inline int TakeSwitch(uint8_t *place, uint8_t on)
{
    if (on > 1) return SIM_BAD_VALUE;
    *place = on;
    return SIM_OK;
}

// Functions that differ in the member of the household they read or set. `member` is an array of characters in the
// first two and one byte in the last two.
#define TEXT_GETTER(function, size, member)                                                                            \
    int function(char text[size])                                                                                      \
    {                                                                                                                  \
        return Ask(__func__, ArgumentText(), [&](Household &home) { return CopyOut(text, size, home.member); });       \
    }
#define TEXT_SETTER(function, member)                                                                                  \
    int function(const char *text)                                                                                     \
    {                                                                                                                  \
        ArgumentText arguments;                                                                                        \
        return Change(__func__, AddText(arguments, "text", text, SIZE_MAX),                                            \
                      [&](Household &home) { return TakeText(home.member, sizeof home.member, text); });               \
    }
#define SWITCH_GETTER(function, member)                                                                                \
    int function(uint8_t *on)                                                                                          \
    {                                                                                                                  \
        return Ask(__func__, ArgumentText(), [&](Household &home) -> int {                                             \
            *on = home.member;                                                                                         \
            return SIM_OK;                                                                                             \
        });                                                                                                            \
    }
#define SWITCH_SETTER(function, member)                                                                                \
    int function(uint8_t on)                                                                                           \
    {                                                                                                                  \
        ArgumentText arguments;                                                                                        \
        return Change(__func__, AddNumber(arguments, "on", on),                                                        \
                      [&](Household &home) { return TakeSwitch(&home.member, on); });                                  \
    }
