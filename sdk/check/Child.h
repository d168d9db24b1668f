// Child.h - runs a check in a process of its own, so that a library may crash or hang in it.
// State: none. Threads: one; the child may start its own.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace check
{

// What a check has found out. The child writes it while it goes on, so that it is not lost in a crash.
class Findings
{
  public:
    explicit Findings(int fd);
    // The same findings, with `name` in front of what is wrong.
    [[nodiscard]] Findings Of(const std::string &name) const;
    // What is wrong with the library. The same text is told once.
    void Wrong(const std::string &text);
    // What the procedure answered, for the table.
    void Answer(const std::string &text);
    // A remark for the table.
    void Note(const std::string &text);
    // Keeps a value, which the parent gets even if the child dies.
    void Keep(const std::string &text);

  private:
    struct Told;
    void Tell(char kind, const std::string &text);

    std::shared_ptr<Told> mTold;
    std::string mPrefix;
};

struct Result {
    std::string answer;
    std::vector<std::string> notes;
    std::vector<std::string> wrong;
    std::string kept;
    int64_t longest = 0; // microseconds of the longest call
    bool died = false;   // crashed, or was ended
};

// Runs `body` in a child process and ends it after `seconds`. A crash and a hang are found wrong, with the name of the
// procedure in which it happened.
[[nodiscard]] Result RunInChild(double seconds, const std::function<void(Findings *)> &body);

} // namespace check
