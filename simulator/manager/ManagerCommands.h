// ManagerCommands.h - every command of `plugsim manager`: what scripts and the prompt understand.
// State: none. Threads: the loop's.
#pragma once

#include <string>
#include <vector>

#include "simulator/ConsoleCommands.h"
#include "simulator/manager/Manager.h"

namespace sim
{

struct ManagerContext : ConsoleContext {
    Manager *manager;
};

// Runs one command line. A command that acts on the wire sets the waits' mark before it does.
Outcome RunManagerCommand(const Words &words, ManagerContext *context);

// What `help` says: all commands for an empty name. False when there is no such command.
bool ManagerHelp(const std::string &name, std::string *text);

// What may follow the words that stand before the one being typed.
std::vector<std::string> ManagerCompletions(const Words &before);

} // namespace sim
