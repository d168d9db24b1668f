// Fleet.h - many supervised agents, each in a mount namespace with a /tmp of its own, because an agent's paths there are
// fixed. Call EnterSandbox() before: its end ends them all.
//
// State:   in Fleet. Threads: one.
#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

struct FleetOptions {
    int agents = 0;
    int longPause = 60;  // of the supervisors, seconds
    std::string program; // the agent
};

// What all agents, and all supervisors, use.
struct FleetUse {
    int running = 0;            // agents
    double cpuSeconds = 0;      // of agents and supervisors; and, to 20 ms a supervisor, of what they ran and has ended
    long dirtyKb = 0;           // of an agent, the median
    long supervisorDirtyKb = 0; // of a supervisor, the median
    long descriptors = 0;       // of an agent, the median
    long threads = 0;           // of an agent, the median
};

class Fleet
{
  public:
    // Starts them, as fast as that goes. Each agent has a MAC of its own. Throws Failure.
    explicit Fleet(const FleetOptions &options);
    ~Fleet(); // ends them
    Fleet(const Fleet &) = delete;
    Fleet &operator=(const Fleet &) = delete;

    FleetUse Use() const;

  private:
    std::vector<pid_t> supervisors_;
};
