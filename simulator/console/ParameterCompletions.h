// ParameterCompletions.h - what may be typed next of the parameters of a function.
// State: none. Threads: any.
#pragma once

#include <string>
#include <vector>

#include "protocol/FunctionLayouts.h"
#include "simulator/console/Words.h"

namespace sim
{

using namespace protocol;

// `words` are those behind the function's name. NAME= and, where values have names, the values.
std::vector<std::string> ParameterCompletions(const Function &function, const Words &words);

} // namespace sim
