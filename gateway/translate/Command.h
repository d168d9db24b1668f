// Command.h - plugin commands: JSON to the text that an agent reads, its result to JSON.
//
// Names and members are those of protocol/PluginCommands.h. State: none. Threads: any.
#pragma once

#include <cstdint>
#include <string>

#include "gateway/translate/Fault.h"
#include "gateway/translate/Json.h"

namespace gateway
{

struct Command {
    uint8_t dataType = 0; // of the frame of MsgType 18
    std::string text;     // its payload
};

// Throws a Fault: unknown_command, bad_parameter.
Command MakeCommand(const std::string &name, const Json &parameters);

// The agent's answer (MsgType 25, `result` from its head block):
// {"ok":true,"command":NAME,"result":N,"meaning":TEXT}; meaning only when there is one.
Json ResultJson(const std::string &name, uint8_t dataType, int16_t result);

} // namespace gateway
