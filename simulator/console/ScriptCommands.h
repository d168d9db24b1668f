// ScriptCommands.h - commands for scripts, which keep values, run programs and show findings; rows of the table in
// ConsoleCommands.
// State: one Script per console. Threads: the loop's.
#pragma once

#include "simulator/console/Interpreter.h"
#include "simulator/console/Programs.h"
#include "simulator/console/Values.h"

namespace sim
{

struct Script {
    Values values;
    Programs programs;
};

Outcome RunLet(const Words &words, ConsoleContext *context);
Outcome RunCheck(const Words &words, ConsoleContext *context);
Outcome RunRecall(const Words &words, ConsoleContext *context);
Outcome RunTitle(const Words &words, ConsoleContext *context);
Outcome RunShow(const Words &words, ConsoleContext *context);
Outcome RunOk(const Words &words, ConsoleContext *context);
Outcome RunStart(const Words &words, ConsoleContext *context);
Outcome RunTell(const Words &words, ConsoleContext *context);
Outcome RunStop(const Words &words, ConsoleContext *context);
Outcome RunRead(const Words &words, ConsoleContext *context);
Outcome RunQuote(const Words &words, ConsoleContext *context);

} // namespace sim
