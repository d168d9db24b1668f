// PlatformOptions.h - the command line of `plugsim platform`.
// State: none. Threads: start-up only.
#pragma once

#include <string>
#include <vector>

#include "simulator/ConsoleOptions.h"
#include "simulator/HttpServer.h"
#include "simulator/Words.h"

namespace sim
{

struct PlatformOptions : ConsoleOptions {
    std::vector<Address> registrationServers;
    Address login;
    bool announceGiven = false;
    Address announce;
    std::string key = "0123456789abcdef";
    std::string token;
    std::string pluginId = "plugin-0001";
    int interval = 60;
    bool ackHeartbeats = true;
    bool ackUploads = true;
    std::vector<std::string> misbehaviours;
    uint64_t seed = 1;
    bool httpOn = false;
    HttpSettings http;
};

// Adds the subcommand, whose options end up in `*options`.
CLI::App *AddPlatformCommand(CLI::App *app, PlatformOptions *options);

} // namespace sim
