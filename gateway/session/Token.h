// Token.h - what a registration gives and a login brings back. A login does not name the router's MAC: the token carries
// it, signed, so that any instance with the same secret can check it without asking.
//
//   0   6   MAC
//   6   4   seconds since the epoch when it was issued, big-endian
//   10  22  the beginning of HMAC-SHA256(secret, PIN in 12 bytes | serial number | the 10 bytes before)
//
// State: none. Threads: any.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "core/MacText.h"
#include "platform/SessionFrames.h"

namespace gateway
{

using TokenBytes = std::array<uint8_t, kTokenSize>;
using Mac = std::array<uint8_t, kMacSize>;

// `pin` has at most 12 characters.
TokenBytes MakeToken(const std::string &secret, const std::string &pin, const std::string &serial, const Mac &mac,
                     int64_t now);

// Whether it was issued to this device at most `life` seconds before `now`, and not after it, but for `kClockSkew`.
// `*mac` is set only then. The time that it takes tells nothing about the right token.
bool CheckToken(const std::string &secret, const std::string &pin, const std::string &serial, const TokenBytes &token,
                int64_t now, int64_t life, Mac *mac);

constexpr int64_t kClockSkew = 5; // seconds between the clocks of two gateways

} // namespace gateway
