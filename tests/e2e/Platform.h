// Platform.h - the test platform, run as a program.
#pragma once

#include "tests/e2e/Plugsim.h"

constexpr char kKey[] = "0123456789abcdef";

struct PlatformOptions {
    std::string registerAt = "127.0.0.1:6039";
    std::string loginAt = "127.0.0.1:6040";
    std::string announce;            // the login server that registrations get; empty: the real one
    int interval = 20;               // seconds between heartbeats
    std::vector<std::string> faults; // from the start
    std::string httpAt;              // address and port of its web server; empty: none
    std::string key = kKey;
    std::string token; // of every registration; empty: a new one for each
};

class Platform : public Plugsim
{
  public:
    // Starts the platform and waits until it serves.
    explicit Platform(const PlatformOptions &options = {});

    // Waits for a session: the agent's first heartbeat after its login.
    void WaitSession(double seconds = kPatience);
};
