// plugsim - test tools to run the agent against, one subcommand each.

#include "simulator/FunctionsMain.h"
#include "simulator/PlatformMain.h"
#include "simulator/manager/ManagerMain.h"

int main(int argc, char **argv)
{
    CLI::App app("Test tools to run the plugin agent against", "plugsim");
    app.require_subcommand(1);
    app.get_formatter()->column_width(28);
    sim::PlatformOptions platformOptions;
    const CLI::App *platform = sim::AddPlatformCommand(&app, &platformOptions);
    sim::ManagerOptions managerOptions;
    const CLI::App *manager = sim::AddManagerCommand(&app, &managerOptions);
    sim::FunctionsOptions functionsOptions;
    const CLI::App *functions = sim::AddFunctionsCommand(&app, &functionsOptions);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return app.exit(error) == 0 ? sim::EXIT_OK : sim::EXIT_USAGE;
    }
    if (manager->parsed()) return sim::RunManager(managerOptions);
    if (functions->parsed()) return sim::RunFunctions(functionsOptions);
    return platform->parsed() ? sim::RunPlatform(platformOptions) : sim::EXIT_USAGE;
}
