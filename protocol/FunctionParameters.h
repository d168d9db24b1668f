// FunctionParameters.h - the parameters of a function from typed values.
//
// Values stand in the order of the fields, behind them NAME=VALUE in any order. A text without a fixed size takes the
// rest of the line. In a record that several functions share, missing fields are zero; a field with an initial value
// may be left out too; all others are required.
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

// The bytes of a request from 10 on. False with a reason that names the parameter.
bool MakeParameters(const Function &function, const std::vector<std::string> &values, Bytes *parameters,
                    std::string *error);

// The fields that values can set, in their order.
std::vector<const FieldLayout *> SettableFields(const Layout &request);

// The field of each value. False with the reason if a value belongs to none.
using AssignedValues = std::map<const FieldLayout *, std::string>;
bool AssignValues(const Function &function, const std::vector<std::string> &values, AssignedValues *assigned,
                  std::string *error);

// "host is missing", "nothing is given"; empty if everything is there that must be.
std::string WhatIsMissing(const Function &function, const AssignedValues &given);

// The bytes of a request from 10 on, in which fields that were not given have their initial values. False with a reason
// that names the parameter.
bool EncodeParameters(const Function &function, const AssignedValues &given, Bytes *parameters, std::string *error);

// Whether a request may lack it.
bool MayBeLeftOut(const Layout &request, const FieldLayout &field);

} // namespace protocol
