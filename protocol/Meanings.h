// Meanings.h - what the results in an agent's answers mean, where they have a meaning of their own.
// State: none. Threads: any.
#pragma once

#include <cstdint>
#include <string>

namespace protocol
{

constexpr uint16_t kLimitFunction = 66;
constexpr uint16_t kSurfFunction = 69;

// The status of a function's reply, the result of a plugin command. Empty for one without a meaning.
std::string StatusMeaning(unsigned function, int status);
std::string ResultMeaning(uint8_t dataType, int result);

} // namespace protocol
