// ShellCompletions.h - what may be typed next on the tool's own command line, for the shell.
// State: none. Threads: any.
#pragma once

#include <CLI/CLI.hpp>
#include <map>
#include <string>

#include "simulator/console/Words.h"

namespace sim
{

// As a completion, beside kAnyFile: the name of any folder.
constexpr char kAnyFolder[] = "DIR";

// `before` are the words behind the program's name that stand before the one being typed. `values`: what may follow an
// option, or stand as an argument, by "SUBCOMMAND OPTION"; of the others it is read from how help shows their value.
Words ShellCompletions(const CLI::App &app, Words before, const std::map<std::string, Words> &values);

} // namespace sim
