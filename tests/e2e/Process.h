// Process.h - programs that a test starts, watches and ends.
//
// Everything that waits has a limit in real seconds and throws Failure when it is over: a test then ends with the
// text of the failure, and the destructors end the programs.
#pragma once

#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <sys/types.h>
#include <thread>
#include <vector>

constexpr double kPatience = 15; // real seconds; long, because test machines are busy, and reached only by failures

struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct ProcessOptions {
    std::vector<std::string> arguments;             // the first is the program's path
    std::map<std::string, std::string> environment; // in addition to ours
    std::string folder;                             // to run in; empty: ours
    bool closeInput = false;                        // start without descriptor 0
};

class Process
{
  public:
    // Starts the program in a process group of its own, with pipes at its input, output and error output.
    explicit Process(const ProcessOptions &options);
    // Kills the group.
    ~Process();
    Process(const Process &) = delete;
    Process &operator=(const Process &) = delete;

    pid_t Id() const { return pid_; }
    void Write(const std::string &text); // to its input
    void Signal(int number);
    // The exit status, or 128 and the signal that ended it; nothing when it still runs after `seconds`.
    // When it has ended, this kills what is left of its group.
    std::optional<int> WaitExit(double seconds);
    bool Runs() { return !WaitExit(0); }

    int Output() const { return output_; } // our ends of the pipes
    int Errors() const { return errors_; }

  private:
    pid_t pid_ = -1;
    int handle_ = -1; // becomes readable when the program ends
    int input_ = -1;
    int output_ = -1;
    int errors_ = -1;
    std::optional<int> status_;
};

// Reads a descriptor to its end on a thread of its own, so that the writer never waits for the test. Keeps all lines.
class Lines
{
  public:
    // Takes the descriptor. Line feeds are cut off.
    explicit Lines(int fd);
    // Waits for the end of input; whoever writes must have ended.
    ~Lines();
    Lines(const Lines &) = delete;
    Lines &operator=(const Lines &) = delete;

    // The number of the first line from `from` on that is wanted; nothing when there is none within `seconds`.
    std::optional<size_t> Find(size_t from, double seconds, const std::function<bool(const std::string &)> &wanted);
    // A line that Find() has found.
    std::string At(size_t number);
    std::vector<std::string> All();
    size_t Count();
    // Waits until the writer has ended. False when it has not within `seconds`.
    bool WaitEnd(double seconds);

  private:
    void Read(int fd);

    std::mutex lock_; // guards what follows
    std::condition_variable changed_;
    std::vector<std::string> lines_;
    bool ended_ = false;
    std::thread reader_; // last: starts when the rest is there
};
