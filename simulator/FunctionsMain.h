// FunctionsMain.h - `plugsim functions`: the functions of the router, as text or as documentation.
// State: none. Threads: main.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace sim
{

struct FunctionsOptions {
    std::string name; // empty: all
    bool markdown = false;
};

CLI::App *AddFunctionsCommand(CLI::App *app, FunctionsOptions *options);

// Returns the program's exit status.
int RunFunctions(const FunctionsOptions &options);

} // namespace sim
