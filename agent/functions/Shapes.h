// Shapes.h - handlers that several functions share; each makes one call of the router library.
// State: none. Threads: the response thread.
#pragma once

#include "functions/FunctionHandler.h"
#include "functions/Parameters.h"

// A function that does nothing.
inline int Nothing(WireReader *, WireWriter *)
{
    return 0;
}

// Puts a byte, 1 on and 0 off, that `get` fills; 0 if it fails. Returns the result of `get`.
inline int PutSwitch(WireWriter *reply, int (*get)(uint8_t *on))
{
    uint8_t on = 0;
    const int result = ZeroUnless(get(&on), &on);
    WirePut8(reply, on);
    return result;
}

// Reply: a byte, 1 on and 0 off.
template <int (*get)(uint8_t *on)>
int SwitchQuery(WireReader *, WireWriter *reply)
{
    return PutSwitch(reply, get);
}

// Parameter: a byte, handed on unchanged.
template <int (*set)(uint8_t on)>
int SwitchSetting(WireReader *parameters, WireWriter *)
{
    return set(WireGet8(parameters));
}

// Parameter: a text.
template <int (*set)(const char *text)>
int TextSetting(WireReader *parameters, WireWriter *)
{
    return set(TakeText(parameters));
}

// Puts 16 bits that `get` fills; 0 if it fails. Returns the result of `get`.
inline int PutShortFigure(WireWriter *reply, int (*get)(uint16_t *figure))
{
    uint16_t figure = 0;
    const int result = ZeroUnless(get(&figure), &figure);
    Put16(reply, figure);
    return result;
}

// Reply: 16 bits.
template <int (*get)(uint16_t *figure)>
int ShortFigureQuery(WireReader *, WireWriter *reply)
{
    return PutShortFigure(reply, get);
}

// Puts 32 bits that `get` fills for the 16-bit index in the request; 0 if it fails. Returns the result of `get`.
inline int PutIndexedCount(WireReader *parameters, WireWriter *reply, int (*get)(uint16_t index, uint32_t *count))
{
    uint32_t count = 0;
    const int result = ZeroUnless(get(Take16(parameters), &count), &count);
    Put32(reply, count);
    return result;
}

// Parameter: the 16-bit index of a WAN. Reply: 32 bits.
template <int (*get)(uint16_t index, uint32_t *count)>
int IndexedCountQuery(WireReader *parameters, WireWriter *reply)
{
    return PutIndexedCount(parameters, reply, get);
}

// Parameter: the 16-bit index of a WAN. Reply: 64 bits.
template <int (*get)(uint16_t index, uint64_t *counter)>
int IndexedCounterQuery(WireReader *parameters, WireWriter *reply)
{
    uint64_t counter = 0;
    const int result = ZeroUnless(get(Take16(parameters), &counter), &counter);
    Put64(reply, counter);
    return result;
}

// Puts a text field of `size` bytes that `get` fills; zeros if it fails. Returns the result of `get`.
template <size_t size>
int PutText(WireWriter *reply, int (*get)(char *text))
{
    struct {
        char text[size];
    } field = {};
    const int result = ZeroUnless(get(field.text), &field);
    WirePutBytes(reply, &field, size);
    return result;
}
