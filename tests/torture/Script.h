// Script.h - what the agent is made to do while calls go wrong: sessions, each a row of steps.
//
// A step drives the test platform and the router's management process, and waits for what the agent does. Steps may be
// done again: the second time shows that all is as before.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tests/e2e/Diagnostics.h"
#include "tests/e2e/Manager.h"
#include "tests/e2e/Updates.h"

// What the agent finds in the place of the system's programs.
class Programs
{
  public:
    Programs();

  private:
    FakeProgram ping_, traceroute_, killall_, iptables_;
};

// Everything else but the agent, for as many agents as one likes, one after the other.
struct Scene {
    explicit Scene(const ManagerOptions &managerOptions = {});

    Platform platform;
    Manager manager;
    HttpServer updates; // a new agent, of kNewAgent() bytes
    std::string digest; // of it

    // Before an agent starts: no file of an earlier one. `peer`: the management process seeks the agent.
    void Clear(bool peer);
};

// The content of the new agent.
const std::string &NewAgent();

// What a step works with. It throws Failure when something does not come within `patience` real seconds.
struct Turn {
    Scene &scene;
    Agent *agent; // null: it writes no log, and steps that read it are not for it
    double patience;
    bool first; // of this agent: some things are done once per process
};

struct Step {
    const char *name;
    std::function<void(const Turn &turn)> run;
};

struct Session {
    const char *name;
    std::vector<Step> steps;
    bool peer; // the agent has a local peer from the start
    bool ends; // the last step ends the agent, as an update does
};

const std::vector<Session> &Sessions();

// How many times faster than ours the agent's time runs.
constexpr double kTortureClock = 100;

// What the agent starts with, but for the faults.
AgentOptions SceneOptions();
