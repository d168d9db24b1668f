// Console.h - what all tools share: command lines from a script, standard input or a prompt, and every event on
// standard output. A tool adds its commands.
// State: one Console per process. Threads: main.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "simulator/console/ConsoleOptions.h"
#include "simulator/console/Interpreter.h"
#include "simulator/console/Journal.h"
#include "simulator/console/Prompt.h"
#include "simulator/console/Runner.h"
#include "simulator/console/ScriptCommands.h"
#include "simulator/net/Loop.h"

namespace sim
{

enum ExitStatus { EXIT_OK = 0, EXIT_CHECK_FAILED = 1, EXIT_USAGE = 2, EXIT_CANNOT_LISTEN = 3 };

class Console
{
  public:
    explicit Console(const ConsoleOptions &options);
    ~Console();
    Console(const Console &) = delete;
    Console &operator=(const Console &) = delete;

    // Opens the script and catches SIGINT and SIGTERM. False, with a message on standard error, if it cannot.
    bool Open();

    Loop *EventLoop() { return &loop_; }
    Journal *Events() { return &journal_; }
    Script *ScriptState() { return &commands_; }

    // Runs the loop until the commands, a signal or the prompt's end stop it. `busy`: work that a command has started
    // is not finished. Returns the exit status.
    int Run(const Interpreter &interpreter, const std::function<bool()> &busy);

  private:
    void Write(const std::string &text);
    void Finish(int status);
    void SignalCame();
    void StartReading(const Interpreter &interpreter, const std::function<bool()> &busy);

    ConsoleOptions options_;
    Loop loop_;
    Journal journal_;
    Script commands_{{}, {&loop_, &journal_}};
    std::unique_ptr<Runner> runner_;
    std::unique_ptr<Prompt> prompt_;
    std::unique_ptr<LineReader> reader_;
    int script_ = -1;
    FILE *log_ = nullptr;
    int signals_ = -1;
    int status_ = EXIT_OK;
};

} // namespace sim
