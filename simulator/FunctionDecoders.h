// FunctionDecoders.h - the data that functions answer, field by field. One row per function.
// State: none. Threads: any.
#pragma once

#include <string>

#include "simulator/Bytes.h"
#include "simulator/Tree.h"

namespace sim
{

// Decodes what follows the status in a reply of function `id`. An unknown function, or data of another length than
// the function has, leave `fields` empty; the latter says so in `*problem`.
Fields DecodeFunctionData(unsigned id, const Bytes &data, std::string *problem);

// "02:11:22:33:44:55"
std::string MacText(const Bytes &mac);

} // namespace sim
