// ManagerCommands.h - every command of `plugsim manager`: what scripts and the prompt understand.
// State: none. Threads: the loop's.
#pragma once

#include "simulator/console/Interpreter.h"
#include "simulator/manager/Manager.h"

namespace sim
{

struct ManagerContext : ConsoleContext {
    Manager *manager;
};

// Adds all of them, and the commands that every tool has.
void AddManagerCommands(Interpreter *interpreter, ManagerContext *context);

} // namespace sim
