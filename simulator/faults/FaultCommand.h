// FaultCommand.h - the command and the option that switch faults on and off.
// State: none. Threads: the loop's.
#pragma once

#include <string>
#include <vector>

#include "simulator/console/Interpreter.h"
#include "simulator/faults/Faults.h"

namespace CLI
{
class App;
class Option;
} // namespace CLI

namespace sim
{

// "misbehave WHAT", "misbehave off [NAME]", and alone for the list; under whatever name the first word has.
Outcome RunFaultCommand(const Words &words, Faults *faults, Journal *journal);

// What may follow "misbehave" and "misbehave off".
Completer MisbehaveCompletions(const FaultTable &table);

// An option that may be given more than once, each time with the words of a fault. They end up in `*list`.
CLI::Option *AddFaultOption(CLI::App *app, const char *name, const FaultTable &table, std::vector<std::string> *list,
                            const char *help);

} // namespace sim
