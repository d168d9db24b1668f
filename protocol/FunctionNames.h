// FunctionNames.h - the router functions by number and by name.
// State: none. Threads: any.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace protocol
{

// "identity" for 2; empty for a function that does not exist (0, the unused slots, 89 and more).
std::string FunctionName(unsigned id);

// Reads a name or any 16-bit number. False when it is neither.
bool ParseFunction(const std::string &text, uint16_t *id);

std::vector<std::string> FunctionNameList();

} // namespace protocol
