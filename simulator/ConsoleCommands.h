// ConsoleCommands.h - the rows of a tool's table of commands, and the commands that every tool has.
// State: none. Threads: the loop's.
#pragma once

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "simulator/Journal.h"
#include "simulator/Runner.h"
#include "simulator/Words.h"

namespace sim
{

// What these commands need of a tool. A tool's own context derives from it.
struct ConsoleContext {
    Journal *journal;
    int64_t waitTimeoutMs;
    std::function<bool(const std::string &name, std::string *text)> help; // as HelpText() of Commands.h
    std::function<Fields()> status;                                       // what `status` shows
};

template <class Context>
struct CommandRow {
    const char *name;
    const char *arguments;
    const char *help;
    size_t least, most; // words after the name
    bool acts;          // on the wire: waits look at what happens from here on
    Outcome (*run)(const Words &words, Context *context);
};

// wait, expect, mark, sleep, status, echo, help, quit.
extern const std::vector<CommandRow<ConsoleContext>> kConsoleCommands;

// The words from `first` on.
Words From(const Words &words, size_t first);

// What a step that may fail came to.
Outcome Result(bool ok, const std::string &error);

template <class Rows>
auto FindRow(const Rows &rows, const std::string &name) -> decltype(&*std::begin(rows))
{
    const auto row = std::find_if(std::begin(rows), std::end(rows), [&](const auto &r) { return name == r.name; });
    return row == std::end(rows) ? nullptr : &*row;
}

// Runs a row for a command line whose first word is its name.
template <class Row, class Context>
Outcome RunRow(const Row &row, const Words &words, Context *context)
{
    if (words.size() - 1 < row.least || words.size() - 1 > row.most)
        return Outcome::Fail(std::string("use: ") + row.name + (*row.arguments ? " " : "") + row.arguments);
    if (row.acts) context->journal->Log().MarkHere();
    return row.run(words, context);
}

// Runs a command of the tool's rows or of those that every tool has.
template <class Rows, class Context>
Outcome RunFrom(const Rows &rows, const Words &words, Context *context)
{
    if (const auto *row = FindRow(rows, words[0])) return RunRow(*row, words, context);
    if (const auto *row = FindRow(kConsoleCommands, words[0])) return RunRow(*row, words, context);
    return Outcome::Fail("there is no command '" + words[0] + "'; try help");
}

// What `help wait` says of a tool's events.
std::string EventsHelp(const std::vector<std::string> &events);

// What `help` says of a row.
template <class Row>
std::string HelpLines(const Row &row)
{
    return std::string("  ") + row.name + (*row.arguments ? " " : "") + row.arguments + "\n        " + row.help + "\n";
}

// What `help` says of the rows called `name`; of all for an empty name.
template <class Rows>
std::string RowsHelp(const Rows &rows, const std::string &name)
{
    std::string text;
    for (const auto &row : rows)
        if (name.empty() || name == row.name) text += HelpLines(row);
    return text;
}

} // namespace sim
