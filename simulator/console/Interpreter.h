// Interpreter.h - a tool's table of commands, and the procedure that runs a line by it.
// State: one Interpreter object; the commands keep pointers to what they act on. Threads: the loop's.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "simulator/console/Journal.h"
#include "simulator/console/Runner.h"
#include "simulator/console/Words.h"

namespace sim
{

constexpr size_t kMaxWords = 1000; // behind a name, where any number is allowed

// Completions: what may follow the words of a command line, its name first.
using Completer = std::function<std::vector<std::string>(const Words &)>;

struct Command {
    const char *name;
    const char *arguments; // as help shows them
    const char *help;      // nullptr: not listed
    size_t least, most;    // words after the name
    bool acts;             // on the wire: waits look only at events from here on
    std::function<Outcome(const Words &)> run;
    Completer completions = nullptr;
    // What help adds; `alone` if it was asked about this command only.
    std::function<std::string(bool alone)> more = nullptr;
};
using CommandList = std::vector<Command>;

// The command called `name`; nullptr when there is none.
const Command *FindCommand(const CommandList &commands, const std::string &name);

// Runs a command for a line whose first word is its name. One that acts sets the mark of `journal`, if there is one.
Outcome RunCommand(const Command &command, const Words &words, Journal *journal = nullptr);

class Interpreter
{
  public:
    explicit Interpreter(Journal *journal) : journal_(journal) {}
    Interpreter(const Interpreter &) = delete;
    Interpreter &operator=(const Interpreter &) = delete;

    // Adds commands, under a title of their own in help unless it is empty. `common`: every tool has them.
    void Add(const std::string &title, const CommandList &commands, bool common = false);

    // The same for commands that send a frame, each by handing its words to `send`.
    void AddFrames(const std::string &title, CommandList commands, const std::function<Outcome(const Words &)> &send);

    // Runs one command line. A command that acts on the wire sets the waits' mark before it does.
    Outcome Run(const Words &words) const;

    // What `help` says: all commands for an empty name. False when there is no such command.
    bool Help(const std::string &name, std::string *text) const;

    // The commands as a table for a document: those that every tool has (`common`), or the tool's own.
    std::string Markdown(bool common) const;

    // What may follow the words before the one being typed. `framesOnly`: only commands that send a frame.
    std::vector<std::string> Completions(const Words &before, bool framesOnly = false) const;

  private:
    struct Section {
        std::string title;
        bool frames; // each of its commands sends one
        bool common; // every tool has them
        CommandList commands;
    };
    void AddNames(bool framesOnly, std::vector<std::string> *names) const;

    Journal *journal_;
    std::vector<Section> sections_;
};

// ---- For tables of commands

// The words from `first` on, as words and as one text.
Words From(const Words &words, size_t first);
std::string Joined(const Words &words, size_t first);

// The outcome of a step that may fail.
Outcome Result(bool ok, const std::string &error);

// Completions of the word behind the name.
Completer Choice(const std::vector<std::string> &choice);

// Completions of a command that stands behind the first `count` words and sends a frame.
Completer FrameBehind(const Interpreter *interpreter, size_t count);

// What commands need from a tool. The tool's own context derives from it.
struct ConsoleContext {
    Journal *journal;
    int64_t waitTimeoutMs;
    std::function<Fields()> status;  // what `status` shows
    struct Script *script = nullptr; // values and programs
};

// Adds wait, expect, mark, sleep, status, echo, help, quit, and those of ScriptCommands. `events` are those that
// `help wait` names.
void AddConsoleCommands(Interpreter *interpreter, ConsoleContext *context, const std::vector<std::string> &events);

// The commands `flood` and `burst` of a tool: `send` sends the frames of the words COUNT times.
using SendRepeated = std::function<bool(const Words &words, int64_t count, bool together, std::string *error)>;
CommandList RepeatCommands(const Interpreter *interpreter, const char *burstHelp, const SendRepeated &send);

} // namespace sim
