// Meanings.h - the meanings of results in an agent's answers.
// State: none. Threads: any.
#pragma once

#include <cstdint>
#include <string>

namespace protocol
{

constexpr uint16_t kLimitFunction = 66;
constexpr uint16_t kSurfFunction = 69;

// Of the status of a function's reply, of the result of a plugin command. Empty if it has none.
std::string StatusMeaning(unsigned function, int status);
std::string ResultMeaning(uint8_t dataType, int result);

} // namespace protocol
