// plugsim - test tools to run the agent against, one subcommand each.

#include <cstdio>

#include "protocol/FunctionMarkdown.h"
#include "protocol/UploadMarkdown.h"
#include "simulator/console/RunTool.h"
#include "simulator/manager/ManagerCommands.h"
#include "simulator/platform/Commands.h"
#include "simulator/platform/FunctionText.h"

using namespace sim;

// `plugsim functions`: as text, or as docs/protocol.md has them.
static int ShowFunctions(const std::string &name, bool markdown)
{
    std::string text = markdown ? FunctionMarkdown() + UploadMarkdown() : "";
    if (!markdown && !FunctionsText(name, &text)) {
        fprintf(stderr, "plugsim: there is no function '%s'\n", name.c_str());
        return EXIT_USAGE;
    }
    return fputs(text.c_str(), stdout) < 0 || fflush(stdout) != 0 ? EXIT_CHECK_FAILED : EXIT_OK;
}

int main(int argc, char **argv)
{
    CLI::App app("Test tools to run the plugin agent against", "plugsim");
    app.require_subcommand(1);
    app.get_formatter()->column_width(28);
    PlatformOptions platformOptions;
    const CLI::App *platform = AddPlatformCommand(&app, &platformOptions);
    ManagerOptions managerOptions;
    const CLI::App *manager = AddManagerCommand(&app, &managerOptions);
    std::string function;
    bool markdown = false;
    CLI::App *functions = app.add_subcommand("functions", "What the platform can ask of a router and set");
    functions->add_option("name", function, "one function, by name or number; all when none is given")
        ->type_name("NAME");
    functions->add_flag("--markdown", markdown, "all of them in full, as docs/protocol.md has them");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return app.exit(error) == 0 ? EXIT_OK : EXIT_USAGE;
    }
    if (manager->parsed()) return RunTool<Manager, ManagerContext>(managerOptions, AddManagerCommands, EXIT_USAGE);
    if (functions->parsed()) return ShowFunctions(function, markdown);
    if (!platform->parsed()) return EXIT_USAGE;
    return RunTool<Platform, CommandContext>(platformOptions, AddPlatformCommands, EXIT_CANNOT_LISTEN);
}
