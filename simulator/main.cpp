// plugsim - test tools to run the agent against, one subcommand each.

#include <cstdio>

#include "protocol/FunctionMarkdown.h"
#include "protocol/FunctionNames.h"
#include "protocol/UploadMarkdown.h"
#include "simulator/console/RunTool.h"
#include "simulator/console/ShellCompletions.h"
#include "simulator/http/HttpFaults.h"
#include "simulator/manager/LocalFaults.h"
#include "simulator/manager/LocalMarkdown.h"
#include "simulator/manager/ManagerCommands.h"
#include "simulator/platform/Commands.h"
#include "simulator/platform/FunctionText.h"
#include "simulator/platform/PlatformFaults.h"

using namespace sim;

static int Print(const std::string &text)
{
    return fputs(text.c_str(), stdout) < 0 || fflush(stdout) != 0 ? EXIT_CHECK_FAILED : EXIT_OK;
}

// `plugsim functions`: as text, or as docs/protocol.md has them.
static int ShowFunctions(const std::string &name, bool markdown)
{
    if (markdown) return Print(FunctionMarkdown() + UploadMarkdown());
    std::string text;
    if (FunctionsText(name, &text)) return Print(text);
    fprintf(stderr, "plugsim: there is no function '%s'\n", name.c_str());
    return EXIT_USAGE;
}

// The hidden option of a tool that prints one of its tables as the documents have it.
static void AddMarkdownOption(CLI::App *tool, const std::vector<std::string> &tables, std::string *table)
{
    tool->add_option("--markdown", *table)->check(CLI::IsMember(tables))->group("");
}

static std::string CommandsMarkdown(void (*addCommands)(Interpreter *), bool common)
{
    Interpreter interpreter(nullptr);
    addCommands(&interpreter);
    return interpreter.Markdown(common);
}

static std::string PlatformMarkdown(const std::string &table)
{
    if (table == "faults") return FaultsMarkdown(kPlatformFaults);
    if (table == "http-faults") return FaultsMarkdown(kHttpFaults);
    const auto add = [](Interpreter *interpreter) { AddPlatformCommands(interpreter, nullptr); };
    return CommandsMarkdown(add, table == "common-commands");
}

static std::string ManagerMarkdown(const std::string &table)
{
    if (table == "faults") return FaultsMarkdown(kLocalFaults);
    if (table == "funcids") return LocalMarkdown();
    return CommandsMarkdown([](Interpreter *interpreter) { AddManagerCommands(interpreter, nullptr); }, false);
}

// `plugsim completions WORD...`, for the shell: what may follow these words, a line each.
static int ShowCompletions(const CLI::App &app, const Words &before)
{
    const std::map<std::string, Words> values = {
        {"platform --misbehave", FaultNames(kPlatformFaults)},
        {"manager --misbehave", FaultNames(kLocalFaults)},
        {"functions name", FunctionNameList()},
    };
    std::string text;
    for (const std::string &word : ShellCompletions(app, before, values)) text += word + '\n';
    return Print(text);
}

int main(int argc, char **argv)
{
    CLI::App app("Test tools to run the plugin agent against", "plugsim");
    app.require_subcommand(1);
    app.set_version_flag("--version", std::string("plugsim ") + PLUGSIM_VERSION, "Print the version and exit");
    app.get_formatter()->column_width(28);
    PlatformOptions platformOptions;
    CLI::App *platform = AddPlatformCommand(&app, &platformOptions);
    ManagerOptions managerOptions;
    CLI::App *manager = AddManagerCommand(&app, &managerOptions);
    std::string table; // to print as Markdown
    AddMarkdownOption(platform, {"commands", "common-commands", "faults", "http-faults"}, &table);
    AddMarkdownOption(manager, {"commands", "faults", "funcids"}, &table);
    std::string function;
    bool markdown = false;
    CLI::App *functions = app.add_subcommand("functions", "The functions of the router");
    functions->add_option("name", function, "one function, by name or number; all when none is given")
        ->type_name("NAME");
    functions->add_flag("--markdown", markdown, "all of them in full, as docs/protocol.md has them");
    if (argc > 1 && argv[1] == std::string("completions")) return ShowCompletions(app, Words(argv + 2, argv + argc));
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return app.exit(error) == 0 ? EXIT_OK : EXIT_USAGE;
    }
    if (functions->parsed()) return ShowFunctions(function, markdown);
    if (!table.empty()) return Print(manager->parsed() ? ManagerMarkdown(table) : PlatformMarkdown(table));
    if (manager->parsed()) return RunTool<Manager, ManagerContext>(managerOptions, AddManagerCommands, EXIT_USAGE);
    if (!platform->parsed()) return EXIT_USAGE;
    return RunTool<Platform, CommandContext>(platformOptions, AddPlatformCommands, EXIT_CANNOT_LISTEN);
}
