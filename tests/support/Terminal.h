// Terminal.h - a program on a pseudo terminal, as a person has it: what it shows, and what is typed.
// State: one Terminal object each. Threads: the caller's.
#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

class Terminal
{
  public:
    // Starts a program, by its path or a name in PATH, with these words. "NAME=VALUE" before them goes into its
    // environment; TERM is one without colours. Throws std::runtime_error when there is no pseudo terminal.
    explicit Terminal(const std::vector<std::string> &command);
    // Kills what has not ended.
    ~Terminal();
    Terminal(const Terminal &) = delete;
    Terminal &operator=(const Terminal &) = delete;

    // Types keys; "\x03" is Ctrl-C.
    void Type(const std::string &keys);

    // Whether `text` is shown behind what the last call has found; at most `seconds` are waited for it.
    bool Shows(const std::string &text, double seconds = 15);

    // Waits for the end. The exit status, 128 and the signal that ended it, or -1 if it has not within `seconds`.
    int End(double seconds = 15);

    // All that was shown so far.
    const std::string &Shown() const { return shown_; }

  private:
    bool Read(double seconds);

    pid_t pid_ = -1;
    int fd_ = -1;
    std::string shown_;
    size_t seen_ = 0;
};
