#include "simulator/FunctionsMain.h"

#include <cstdio>

#include "simulator/FunctionMarkdown.h"
#include "simulator/FunctionNames.h"
#include "simulator/FunctionText.h"
#include "simulator/PlatformMain.h"
#include "simulator/UploadMarkdown.h"

namespace sim
{

CLI::App *AddFunctionsCommand(CLI::App *app, FunctionsOptions *options)
{
    CLI::App *command = app->add_subcommand("functions", "What the platform can ask of a router and set");
    command->add_option("name", options->name, "one function, by name or number; all when none is given")
        ->type_name("NAME");
    command->add_flag("--markdown", options->markdown, "all of them in full, as docs/protocol.md has them");
    return command;
}

int RunFunctions(const FunctionsOptions &options)
{
    std::string text;
    if (options.markdown) {
        text = FunctionMarkdown() + UploadMarkdown();
    } else if (!FunctionsText(options.name, &text)) {
        fprintf(stderr, "plugsim: there is no function '%s'\n", options.name.c_str());
        return EXIT_USAGE;
    }
    return fputs(text.c_str(), stdout) < 0 || fflush(stdout) != 0 ? EXIT_CHECK_FAILED : EXIT_OK;
}

} // namespace sim
