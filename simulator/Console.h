// Console.h - a tool that is driven by command lines: from a script, from standard input or from a prompt, with every
// event on standard output. It owns what all of them share; the tool brings its commands.
// State: one Console per process. Threads: main.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "simulator/ConsoleOptions.h"
#include "simulator/Journal.h"
#include "simulator/Loop.h"
#include "simulator/Prompt.h"
#include "simulator/Runner.h"

namespace sim
{

enum ExitStatus { EXIT_OK = 0, EXIT_CHECK_FAILED = 1, EXIT_USAGE = 2, EXIT_CANNOT_LISTEN = 3 };

struct ConsoleTool {
    std::function<Outcome(const Words &)> run;
    std::function<bool()> busy; // something that a command has set going is not over
    std::function<std::vector<std::string>(const Words &before)> completions;
};

class Console
{
  public:
    explicit Console(const ConsoleOptions &options);
    ~Console();
    Console(const Console &) = delete;
    Console &operator=(const Console &) = delete;

    // Opens the script, and takes SIGINT and SIGTERM. False, with a message on standard error, when it cannot.
    bool Open();

    Loop *EventLoop() { return &loop_; }
    Journal *Events() { return &journal_; }

    // Runs the loop until the commands, a signal or the prompt's end stop it. Returns the exit status.
    int Run(const ConsoleTool &tool);

  private:
    void Write(const std::string &text);
    void Finish(int status);
    void StartReading(const ConsoleTool &tool);

    ConsoleOptions options_;
    Loop loop_;
    Journal journal_;
    std::unique_ptr<Runner> runner_;
    std::unique_ptr<Prompt> prompt_;
    std::unique_ptr<LineReader> reader_;
    int script_ = -1;
    int signals_ = -1;
    int status_ = EXIT_OK;
};

} // namespace sim
