// FunctionText.h - functions as text for people: the list of them, and each one byte by byte.
// State: none. Threads: any.
#pragma once

#include <string>

#include "protocol/FunctionLayouts.h"

namespace sim
{

using namespace protocol;

// Everything about one function.
std::string FunctionHelp(const Function &function);

// The list for an empty name, otherwise everything about the function of that name or number. False if there is none.
bool FunctionsText(const std::string &name, std::string *text);

} // namespace sim
