// RunTool.h - a tool with a console, from its options to its exit status.
// State: none. Threads: main's, for as long as the tool runs.
#pragma once

#include <cstdio>
#include <string>

#include "simulator/console/Console.h"
#include "simulator/console/Interpreter.h"

namespace sim
{

// `addCommands`: the tool's table. `notStarted`: the exit status when the tool cannot start.
template <class Tool, class Context, class Options>
int RunTool(const Options &options, void (*addCommands)(Interpreter *, Context *), int notStarted)
{
    Console console(options);
    if (!console.Open()) return EXIT_USAGE;
    Tool tool(options, console.EventLoop(), console.Events());
    std::string error;
    if (!tool.Start(&error)) {
        fprintf(stderr, "plugsim: %s\n", error.c_str());
        return notStarted;
    }
    Context context = {{console.Events(), options.waitTimeoutMs, [&] { return tool.Status(); }, console.ScriptState()},
                       &tool};
    Interpreter interpreter(console.Events());
    addCommands(&interpreter, &context);
    return console.Run(interpreter, [&] { return tool.Busy(); });
}

} // namespace sim
