// PlatformOptions.h - the command line of `plugsim platform`.
// State: none. Threads: start-up only.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "simulator/console/ConsoleOptions.h"
#include "simulator/console/Words.h"
#include "simulator/http/HttpServer.h"
#include "simulator/platform/Conversation.h"

namespace sim
{

struct PlatformOptions : ConsoleOptions {
    std::vector<Address> registrationServers;
    Address login;
    std::optional<Address> announce; // if not set, where it listens
    ConversationSettings session;
    std::vector<std::string> faults;
    uint64_t seed = 1;
    bool httpOn = false;
    HttpSettings http;
};

// Adds the subcommand, whose options end up in `*options`.
CLI::App *AddPlatformCommand(CLI::App *app, PlatformOptions *options);

} // namespace sim
