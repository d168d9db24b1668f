// ConsoleOptions.h - the options that every tool with commands has: where they come from, what its output looks like.
// State: none. Threads: start-up only.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "simulator/Words.h"

namespace sim
{

struct ConsoleOptions {
    std::string script; // "-" is standard input
    std::string atEnd;  // "exit", "stay", or empty: what suits the source of the commands
    bool prompt = true; // when standard input is a terminal
    int64_t waitTimeoutMs = 60000;

    bool json = false;
    bool quiet = false;
    bool hex = false;
    std::string colour = "auto";
};

// Adds the options to a tool's subcommand; they end up in `*options`.
void AddConsoleOptions(CLI::App *app, ConsoleOptions *options);

// Adds an option that may be given more than once: each time the words of something to do wrong, as a `Wrongs` reads
// them. They end up in `*list` as they were written.
template <typename Wrongs>
CLI::Option *AddWrongsOption(CLI::App *app, const char *name, std::vector<std::string> *list, const char *help)
{
    const auto check = [](std::string &text) {
        Words words;
        Wrongs probe;
        std::string error;
        return SplitWords(text, &words, &error) && probe.Add(words, &error) ? std::string() : error;
    };
    return app->add_option(name, *list, help)
        ->type_name("WHAT")
        ->expected(1)
        ->take_all()
        ->check(CLI::Validator(check, "", "misbehaviour"));
}

} // namespace sim
