#include "simulator/manager/ManagerMain.h"

#include <cstdio>

#include "simulator/Console.h"
#include "simulator/manager/ManagerCommands.h"

namespace sim
{

int RunManager(const ManagerOptions &options)
{
    Console console(options);
    if (!console.Open()) return EXIT_USAGE;
    Manager manager(options, console.EventLoop(), console.Events());
    std::string error;
    if (!manager.Start(&error)) {
        fprintf(stderr, "plugsim: %s\n", error.c_str());
        return EXIT_USAGE;
    }
    ManagerContext context = {{console.Events(), options.waitTimeoutMs, ManagerHelp, [&] { return manager.Status(); }},
                              &manager};
    return console.Run({[&](const Words &words) { return RunManagerCommand(words, &context); },
                        [&] { return manager.Busy(); }, ManagerCompletions});
}

} // namespace sim
