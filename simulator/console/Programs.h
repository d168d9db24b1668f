// Programs.h - programs that a script runs: every line that they write is an event, and so is their end.
// State: one Programs object; each program has a session of its own and ends with plugsim. Threads: the loop's.
#pragma once

#include <map>
#include <string>
#include <sys/types.h>

#include "simulator/console/Journal.h"
#include "simulator/console/Words.h"
#include "simulator/net/Loop.h"

namespace sim
{

class Programs
{
  public:
    Programs(Loop *loop, Journal *journal) : loop_(loop), journal_(journal) {}
    ~Programs();
    Programs(const Programs &) = delete;
    Programs &operator=(const Programs &) = delete;

    // Runs a command under a name. Lines on its standard output and standard error become "output" events with
    // `program`, `text` and, for a line that is a JSON object, `json`; its end is "ended" with `status` or `signal`.
    bool Start(const std::string &name, const Words &command, std::string *error);
    // Writes a line to its standard input.
    bool Tell(const std::string &name, const std::string &line, std::string *error);
    // Sends it SIGTERM.
    bool Stop(const std::string &name, std::string *error);

  private:
    struct Program {
        pid_t pid;
        int input, output;
        std::string partial;
    };
    Program *Find(const std::string &name, std::string *error);
    void Read(const std::string &name);
    void Line(const std::string &name, const std::string &line);
    void SomeEnded();
    void Ended(const std::string &name, int status);
    void Close(const Program &program);

    Loop *loop_;
    Journal *journal_;
    std::map<std::string, Program> running_;
    int ends_ = -1; // SIGCHLD, from the first program on
};

} // namespace sim
