// Parameters.h - JSON parameters as the words that protocol/ makes bytes and texts of.
// State: none. Threads: any.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "gateway/translate/Fault.h"
#include "gateway/translate/Json.h"
#include "protocol/FunctionLayouts.h"
#include "protocol/PluginCommands.h"

namespace gateway
{

enum class Wanted {
    Number,   // a whole number
    Name,     // the name of a value, or its number
    Text,     // without zero characters
    Document, // the same, or an object or a list instead of its text
};

struct Parameter {
    std::string name;
    Wanted wanted;
};

// What a function and a command take.
std::vector<Parameter> ParametersOf(const protocol::Function &function);
std::vector<Parameter> ParametersOf(const protocol::PluginCommand &command);

// One word for each of `known`, none for what is not given. Throws a Fault that names the parameter if `given` is no
// object, has other members, or one of the wrong type. `whose` names the function or command.
using Words = std::vector<std::optional<std::string>>;
Words WordsOf(const std::string &whose, const std::vector<Parameter> &known, const Json &given);

// The text of a typed command; throws as WordsOf() does.
std::string CommandText(const protocol::PluginCommand &command, const Json &parameters);

// To be thrown: bad_parameter. A sentence that quotes a very long value is shortened.
Fault BadParameter(std::string sentence);

// Bytes of a payload that fit one frame to an agent, behind a head of `head` bytes: it takes no longer ones.
size_t MostPayload(size_t head);

} // namespace gateway
