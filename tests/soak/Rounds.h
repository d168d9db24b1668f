// Rounds.h - what happens to the agent: in every round each thing that an operator, a household and a network do to it,
// in another order each time; and how a process of its own comes to an end.
//
// A thing that does not succeed is tried again, because it may have met a lost session; one that never succeeds is a
// failure. State: in Rounds. Threads: one.
#pragma once

#include <map>
#include <random>
#include <string>
#include <vector>

#include "tests/soak/World.h"

// What ends a process before its week is over.
enum class Ending { FORCED, KILLED, OUTAGE, UPDATE };

class Rounds
{
  public:
    // `length` of a round, seconds of the agent's time.
    Rounds(World *world, double length, unsigned seed);

    // Waits until the first process has logged in, and sets the date.
    void Begin();
    // One round. The last thing in it is a sample.
    void Run();
    // Ends the agent's process, and waits until its successor has logged in.
    void End(Ending ending);

    unsigned Done() const { return done_; }       // rounds
    unsigned Things() const { return things_; }   // that were done in them
    unsigned Retries() const { return retries_; } // of them
    unsigned Late() const { return late_; }       // rounds that took longer than their length
    const std::map<std::string, std::string> &Failures() const { return failures_; }

  private:
    struct Thing {
        std::string name;
        std::function<void()> run;
    };
    std::vector<Thing> ThingsOfEachRound() const;
    std::vector<Thing> WaysToLoseASession() const;
    void Do(const Thing &thing);
    void AwaitAnswer();

    World *world_;
    double length_;
    std::mt19937 random_;
    unsigned done_ = 0, things_ = 0, retries_ = 0, late_ = 0;
    std::map<std::string, std::string> failures_;
};
