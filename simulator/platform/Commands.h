// Commands.h - every command of `plugsim platform`: what scripts and the prompt understand.
// State: none. Threads: the loop's.
#pragma once

#include "simulator/console/Interpreter.h"
#include "simulator/platform/Platform.h"

namespace sim
{

struct CommandContext : ConsoleContext {
    Platform *platform;
};

// Adds all of them, and those that every tool has.
void AddPlatformCommands(Interpreter *interpreter, CommandContext *context);

} // namespace sim
