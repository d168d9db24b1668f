// FunctionParameters.h - the parameters of a function from the words of a command line.
//
// Words stand in the order of the fields, and behind them NAME=VALUE in any order. A text that is not of a fixed size
// takes all that follows. What a record that several functions share is not given is zero; a field with an initial
// value may be left out too; everything else has to be given.
//
// State: none. Threads: any.
#pragma once

#include <string>
#include <vector>

#include "simulator/Bytes.h"
#include "simulator/FunctionLayouts.h"
#include "simulator/Words.h"

namespace sim
{

// "ping HOST [size] [count]"
std::string Usage(const Function &function);

// What stands from byte 10 on. `words` are those behind the function's name. False with a reason that names the
// parameter.
bool MakeParameters(const Function &function, const Words &words, Bytes *parameters, std::string *error);

// What may follow `words`, those behind the function's name: NAME= and, where values have names, the values.
std::vector<std::string> ParameterCompletions(const Function &function, const Words &words);

} // namespace sim
