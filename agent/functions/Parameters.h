// Parameters.h - reads the values in a function's request and writes those in its reply, in the platform's byte order.
// State: none. Threads: any.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/Common.h"
#include "core/Wire.h"

constexpr char kDispatcher[] = "ParserProtoolData"; // the procedure name in the log lines of all rows

inline uint16_t Take16(WireReader *parameters)
{
    return swapInt16(WireGetLe16(parameters));
}

inline uint64_t Take64(WireReader *parameters)
{
    return swapInt64(WireGetLe64(parameters));
}

// An IPv4 address, whose octets travel in reverse order; the result is in network byte order.
[[nodiscard]] uint32_t TakeIp(WireReader *parameters);

// The 6 bytes of a device's MAC, not copied; zeros if the request ends before.
[[nodiscard]] const uint8_t *TakeMac(WireReader *parameters);

// The rest of the request as a text, not copied. It ends at the latest at the request's last byte, which is zero
// (see ParserProtoolData()); empty when nothing is left.
[[nodiscard]] const char *TakeText(WireReader *parameters);

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

// `ip` is in network byte order; its octets travel in reverse order.
void PutIp(WireWriter *reply, uint32_t ip);
