// Manager.h - the program `plugsim manager`: the agent's local peer.
#pragma once

#include "tests/e2e/Plugsim.h"

constexpr char kSocket[] = "/tmp/CommServer";

struct ManagerOptions {
    std::string state;               // file of its auto-report configuration; empty: none
    std::vector<std::string> faults; // from the start
    double retry = 0.1;              // seconds; the agent's time runs faster than its own
};

class Manager : public Plugsim
{
  public:
    // Starts it; it finds the agent by itself.
    explicit Manager(const ManagerOptions &options = {});
};
