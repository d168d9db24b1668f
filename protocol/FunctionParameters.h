// FunctionParameters.h - the parameters of a function from values as people write them.
//
// Values come in the order of the fields, and behind them NAME=VALUE in any order. A text that is not of a fixed size
// takes all that follows. What a record that several functions share is not given is zero; a field with an initial
// value may be left out too; everything else has to be given.
//
// State: none. Threads: any.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "protocol/Bytes.h"
#include "protocol/FunctionLayouts.h"

namespace protocol
{

// "ping HOST [size] [count]"
std::string Usage(const Function &function);

// What stands from byte 10 on. False with a reason that names the parameter.
bool MakeParameters(const Function &function, const std::vector<std::string> &values, Bytes *parameters,
                    std::string *error);

// The fields that values can set, in their order.
std::vector<const FieldLayout *> SettableFields(const Layout &request);

// Which field each value is for. False with the reason when one is for none.
using AssignedValues = std::map<const FieldLayout *, std::string>;
bool AssignValues(const Function &function, const std::vector<std::string> &values, AssignedValues *assigned,
                  std::string *error);

} // namespace protocol
