#include "simulator/PlatformMain.h"

#include <cstdio>

#include "simulator/Commands.h"

namespace sim
{

int RunPlatform(const PlatformOptions &options)
{
    Console console(options);
    if (!console.Open()) return EXIT_USAGE;
    Platform platform(options, console.EventLoop(), console.Events());
    std::string error;
    if (!platform.Start(&error)) {
        fprintf(stderr, "plugsim: %s\n", error.c_str());
        return EXIT_CANNOT_LISTEN;
    }
    CommandContext context = {{console.Events(), options.waitTimeoutMs, HelpText, [&] { return platform.Status(); }},
                              &platform};
    return console.Run({[&](const Words &words) { return RunCommand(words, &context); },
                        [&] { return platform.Busy(); }, Completions});
}

} // namespace sim
