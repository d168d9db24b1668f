#include "tests/e2e/Manager.h"

static std::vector<std::string> Arguments(const ManagerOptions &options)
{
    std::vector<std::string> arguments = {"manager", "--json",  "--socket",
                                          kSocket,   "--retry", std::to_string(options.retry)};
    if (!options.state.empty()) arguments.insert(arguments.end(), {"--state", options.state});
    for (const std::string &fault : options.faults) arguments.insert(arguments.end(), {"--misbehave", fault});
    return arguments;
}

Manager::Manager(const ManagerOptions &options) : Plugsim(Arguments(options)) {}
