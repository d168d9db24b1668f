// Prompt.h - where command lines come from: a person at a terminal (readline), or a descriptor.
// State: one object each; readline's own state is process-wide, so there is one Prompt. Threads: the loop's.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "simulator/console/Words.h"
#include "simulator/net/Loop.h"

namespace sim
{

// Lines typed at a prompt, with history (~/.plugsim_history) and completion.
class Prompt
{
  public:
    // `completions`: what may follow the words that stand before the one being typed.
    Prompt(Loop *loop, std::function<void(const std::string &)> line, std::function<void()> end,
           std::function<std::vector<std::string>(const Words &before)> completions);
    ~Prompt();
    Prompt(const Prompt &) = delete;
    Prompt &operator=(const Prompt &) = delete;

    // Writes text to standard output above the line that is being typed.
    void Print(const std::string &text);

    // Drops the line that is being typed, or a search of the history. False if there was nothing to drop.
    bool DropLine();

  private:
    Loop *loop_;
};

// Lines read from a descriptor until its end.
class LineReader
{
  public:
    // `roomFor` says whether there is room for more lines: a writer that is too fast has to wait.
    LineReader(Loop *loop, int fd, std::function<void(const std::string &)> line, std::function<void()> end,
               std::function<bool()> roomFor);
    ~LineReader();
    LineReader(const LineReader &) = delete;
    LineReader &operator=(const LineReader &) = delete;

  private:
    void Watch();
    void Read();

    Loop *loop_;
    int fd_;
    std::function<void(const std::string &)> line_;
    std::function<void()> end_;
    std::function<bool()> roomFor_;
    std::string partial_;
    uint64_t timer_ = 0;
};

} // namespace sim
