// Commands.h - every command by name: what scripts and the prompt understand.
// State: none. Threads: the loop's.
#pragma once

#include <string>
#include <vector>

#include "simulator/ConsoleCommands.h"
#include "simulator/Platform.h"

namespace sim
{

struct CommandContext : ConsoleContext {
    Platform *platform;
};

// Runs one command line. A command that acts on the wire sets the waits' mark before it does.
Outcome RunCommand(const Words &words, CommandContext *context);

// What `help` says: all commands for an empty name. False when there is no such command.
bool HelpText(const std::string &name, std::string *text);

// What may follow the words that stand before the one being typed.
std::vector<std::string> Completions(const Words &before);

} // namespace sim
