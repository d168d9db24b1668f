// Numbers.h - integers from texts.
// State: none. Threads: any.
#pragma once

#include <cstdint>
#include <string>

namespace protocol
{

// An integer, decimal or 0x..., within [low, high]. False for anything else.
bool ParseNumber(const std::string &text, int64_t low, int64_t high, int64_t *number);

} // namespace protocol
