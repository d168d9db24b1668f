// ManagerOptions.h - the command line of `plugsim manager`.
// State: none. Threads: start-up only.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "simulator/console/ConsoleOptions.h"

namespace sim
{

struct ManagerOptions : ConsoleOptions {
    std::string socket = "/tmp/CommServer";
    int64_t retryMs = 1000;
    std::optional<uint32_t> sequence; // of the first frame; default: the time in seconds
    std::string household;            // a file with commands about the household
    std::string state;                // where the auto-report configuration is kept
    bool reports = false;             // report by that configuration
    std::vector<std::string> faults;
};

// Adds the subcommand; its options are stored in `*options`.
CLI::App *AddManagerCommand(CLI::App *app, ManagerOptions *options);

} // namespace sim
