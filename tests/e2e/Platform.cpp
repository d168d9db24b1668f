#include "tests/e2e/Platform.h"

static std::vector<std::string> Arguments(const PlatformOptions &options)
{
    std::vector<std::string> arguments = {
        "platform",         "--json",  "--key",         options.key,  "--register",
        options.registerAt, "--login", options.loginAt, "--interval", std::to_string(options.interval)};
    for (const std::string &fault : options.faults) {
        arguments.push_back("--misbehave");
        arguments.push_back(fault);
    }
    if (!options.announce.empty()) arguments.insert(arguments.end(), {"--announce", options.announce});
    if (!options.httpAt.empty()) arguments.insert(arguments.end(), {"--http", options.httpAt});
    if (!options.token.empty()) arguments.insert(arguments.end(), {"--token", options.token});
    return arguments;
}

Platform::Platform(const PlatformOptions &options) : Plugsim(Arguments(options))
{
    Wait("listening");
}

void Platform::WaitSession(double seconds)
{
    Wait("login", {{"token_ok", "true"}}, seconds);
    Wait("heartbeat", {}, seconds);
}
