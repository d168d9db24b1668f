// World.h - the supervised agent on its fast clock, and what it lives with: platform, management process, web server.
//
// State:   fixed paths of /tmp and fixed ports: one World in a sandbox.
// Threads: one, and one that takes samples.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

#include "tests/soak/Judge.h"
#include "tests/torture/Script.h"

struct WorldOptions {
    double speed = 1;    // how many times faster than ours the agent's time runs
    std::string folder;  // an absolute path outside /tmp: for what has to stay
    std::string leak;    // what the agent is made to lose: memory, descriptors, threads; empty: nothing
    double interval = 0; // seconds of the agent's time between two samples
};

// An end of the agent, as its supervisor saw it.
struct End {
    int status;
    std::string stage; // "004", or "none"
};

class World
{
  public:
    // Starts everything; the agent has not logged in yet. Throws Failure.
    explicit World(const WorldOptions &options);
    ~World();
    World(const World &) = delete;
    World &operator=(const World &) = delete;

    // The agent's time since the start, seconds.
    double Now() const;
    // Sleeps until then.
    void WaitUntil(double at) const;

    // Shifts the agent's date, seconds from the date that it started with. Its other clocks go on.
    void SetDate(double shift);
    // Back to 1970, as on a router that has just started and has no clock of its own.
    void LoseDate();
    // 0 Sunday to 6 Saturday, by the agent's date.
    int Weekday() const;

    // The agent's process, 0 while there is none; and its program.
    pid_t AgentId() const;
    std::string AgentProgram() const;

    const std::string &Folder() const { return folder_; }

    // All of the agent's ends so far.
    std::vector<End> Ends();

    // Takes a sample now, at the end of a round.
    void TakeSettled();
    // All samples so far; they are also in samples.tsv of the folder.
    std::vector<Sample> Samples();

    // Ends the supervisor and with it the agent. Throws Failure when something is left behind.
    void Stop();

    Scene scene;

  private:
    void StartSupervisor(const WorldOptions &options);
    void TakeSamples(double interval);
    void Take(bool settled);

    Programs programs_;
    double speed_;
    std::string folder_;
    int64_t begin_;  // monotonic, ns
    int64_t *shift_; // the page that the fast clock reads
    std::unique_ptr<Lines> log_;
    std::unique_ptr<Process> supervisor_;

    std::mutex lock_; // guards what follows
    std::condition_variable stop_;
    bool stopped_ = false;
    std::vector<Sample> samples_;
    pid_t lastAgent_ = 0;
    int lives_ = 0;
    std::thread sampler_; // last: starts when the rest is there
};
