// Parameters.h - values in requests and replies of functions, each in the platform's byte order.
// State: none. Threads: any.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/Common.h"
#include "core/Wire.h"

constexpr char kDispatcher[] = "ParserProtoolData"; // under which all rows of the table log

inline uint16_t Take16(WireReader *parameters)
{
    return swapInt16(WireGetLe16(parameters));
}

inline uint64_t Take64(WireReader *parameters)
{
    return swapInt64(WireGetLe64(parameters));
}

// An IPv4 address, whose octets travel in reverse; the result is in network byte order.
uint32_t TakeIp(WireReader *parameters);

// The 6 bytes of a device's MAC, where they lie.
const uint8_t *TakeMac(WireReader *parameters);

// The rest of the request as a text, where it lies. It ends at the latest at the request's last byte, which is zero
// (see ParserProtoolData()); empty when nothing is left.
const char *TakeText(WireReader *parameters);

inline void Put16(WireWriter *reply, uint16_t value)
{
    WirePutLe16(reply, swapInt16(value));
}

inline void Put32(WireWriter *reply, uint32_t value)
{
    WirePutLe32(reply, swapInt32(value));
}

inline void Put64(WireWriter *reply, uint64_t value)
{
    WirePutLe64(reply, swapInt64(value));
}

// `ip` in network byte order leaves with its octets in reverse.
void PutIp(WireWriter *reply, uint32_t ip);
