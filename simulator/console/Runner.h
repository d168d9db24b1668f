// Runner.h - runs command lines one after the other, whatever their source. A wait or a sleep delays the lines behind
// it, never the loop.
//
// State: one Runner object. Threads: the loop's.
#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <string>

#include "simulator/console/Journal.h"
#include "simulator/console/Words.h"
#include "simulator/net/Loop.h"

namespace sim
{

// The outcome of a command.
struct Outcome {
    enum { Done, Failed, Wait, Sleep, Quit } kind = Done;
    std::string reason;  // Failed, Wait
    WaitQuery wait = {}; // Wait
    // Wait: what to do with the event; nullptr: the command has succeeded. `reason` is shown if no event comes.
    std::function<Outcome(const Event &)> then = nullptr;
    int64_t sleepMs = 0; // Sleep
    int status = 0;      // Quit

    static Outcome Ok() { return {}; }
    static Outcome Fail(const std::string &reason)
    {
        Outcome outcome;
        outcome.kind = Failed;
        outcome.reason = reason;
        return outcome;
    }
};

struct RunnerRules {
    bool interactive = false; // a person types: failures are shown, not counted, and commands are not echoed
    bool strict = false;      // the first failure ends everything
    bool exitAtEnd = false;   // so does the end of the lines, once nothing is left to be sent
};

class Runner
{
  public:
    Runner(Loop *loop, Journal *journal, const RunnerRules &rules, std::function<Outcome(const Words &)> execute,
           std::function<bool()> busy, std::function<void(int)> finish)
        : loop_(loop), journal_(journal), rules_(rules), execute_(std::move(execute)), busy_(std::move(busy)),
          finish_(std::move(finish))
    {
        // The journal may live longer, and so may the loop.
        journal_->OnEvent([this, alive = std::weak_ptr<bool>(alive_)] {
            if (!alive.expired()) Wake();
        });
    }
    ~Runner();
    Runner(const Runner &) = delete;
    Runner &operator=(const Runner &) = delete;

    void AddLine(const std::string &line);
    void EndOfLines(); // no more will come
    size_t Pending() const { return lines_.size(); }

    // Something has happened that a wait may be for; the journal calls this for its events. Safe to call from anywhere:
    // nothing runs at once.
    void Wake();

    // Ends the command that is under way, or about to be, as a failure, and drops the lines behind it. False if there is
    // none.
    bool Interrupt();

    uint64_t Failures() const { return failures_; }

  private:
    enum class State { Ready, Waiting, Sleeping, Finished };
    void Step();
    void RunLine(const std::string &line);
    void Settle(Outcome outcome);
    void Took();
    void Succeed();
    void Fail(const std::string &reason);
    void Finish(int status);

    Loop *loop_;
    Journal *journal_;
    RunnerRules rules_;
    std::function<Outcome(const Words &)> execute_;
    std::function<bool()> busy_;
    std::function<void(int)> finish_;

    std::deque<std::string> lines_;
    bool ended_ = false;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
    uint64_t woken_ = 0; // the timer that a wake-up has set
    State state_ = State::Ready;
    std::string current_;
    Outcome wait_; // under way
    uint64_t timer_ = 0;
    uint64_t failures_ = 0;
    uint64_t lineNumber_ = 0;
};

} // namespace sim
