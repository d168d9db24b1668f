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

// Adds them all, and those that every tool has.
void AddManagerCommands(Interpreter *interpreter, ManagerContext *context);

} // namespace sim
