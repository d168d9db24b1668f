// Agent.h - the real agent as a process, in a /tmp of its own, and what the system knows about it.
#pragma once

#include <cstdint>
#include <string>
#include <sys/types.h>

// The program that is started: the build's own, until another one is set.
std::string AgentProgram();
void SetAgentProgram(const std::string &path);

// Starts the agent and kills it at the end of its life.
class Agent
{
  public:
    // The agent registers at 127.0.0.1:`registerPort`. factor: how much faster its time runs (1: as it is).
    explicit Agent(uint16_t registerPort, double factor = 1);
    ~Agent();
    Agent(const Agent &) = delete;
    Agent &operator=(const Agent &) = delete;

    pid_t Pid() const { return mPid; }
    double StartedMs() const { return mStartedMs; }
    long Descriptors() const;
    long Threads() const;
    long DirtyKb() const;           // pages that it has written to
    long HighWaterKb() const;       // the most that has ever been resident
    long long WakeUps() const;      // voluntary context switches of all threads so far
    std::string WakeUpList() const; // the same by thread, for people

  private:
    std::string Proc(const char *name) const;

    pid_t mPid;
    double mStartedMs;
};
