// ConsoleOptions.h - the options of every tool: where its commands come from, what its output looks like.
// State: none. Threads: start-up only.
#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <string>

namespace sim
{

struct ConsoleOptions {
    std::string script; // "-" is standard input
    std::string atEnd;  // "exit", "stay", or empty: depends on the source of the commands
    bool prompt = true; // when standard input is a terminal
    int64_t waitTimeoutMs = 60000;

    bool json = false;
    bool quiet = false;
    bool hex = false;
    std::string log; // file for all events as JSON
    std::string colour = "auto";
};

// Adds the options to a tool's subcommand; they end up in `*options`.
void AddConsoleOptions(CLI::App *app, ConsoleOptions *options);

} // namespace sim
