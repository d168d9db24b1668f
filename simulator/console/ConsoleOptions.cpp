#include "simulator/console/ConsoleOptions.h"

#include "simulator/console/Words.h"

namespace sim
{

static void AddCommandOptions(CLI::App *app, ConsoleOptions *o)
{
    const std::string group = "Commands";
    app->add_option("--script", o->script,
                    "run the commands in FILE ('-' is standard input); the first failure ends it")
        ->type_name("FILE")
        ->group(group);
    app->add_option("--at-end", o->atEnd, "after the last command: exit [with --script] or stay [without]")
        ->type_name("exit|stay")
        ->check(CLI::IsMember({"exit", "stay"}).description(""))
        ->group(group);
    app->add_option_function<std::string>(
           "--wait-timeout",
           [o](const std::string &text) {
               if (!ParseSeconds(text, &o->waitTimeoutMs)) throw CLI::ValidationError("--wait-timeout", "no time");
           },
           "how long \"wait\" waits if it names no time [60]")
        ->type_name("SECONDS")
        ->group(group);
    app->add_flag_callback(
           "--no-prompt", [o] { o->prompt = false; }, "read lines without a prompt even from a terminal")
        ->group(group);
}

static void AddOutputOptions(CLI::App *app, ConsoleOptions *o)
{
    const std::string group = "Output";
    app->add_flag("--json", o->json, "one JSON object a line, for programs")->group(group);
    app->add_option("--color", o->colour, "colours [auto]")
        ->type_name("auto|always|never")
        ->check(CLI::IsMember({"auto", "always", "never"}).description(""))
        ->group(group);
    app->add_flag("--hex", o->hex,
                  "show the bytes of every frame too, failed records, and each device of a report in full")
        ->group(group);
    app->add_option("--log", o->log, "write every event to FILE as well, one JSON object a line")
        ->type_name("FILE")
        ->group(group);
    app->add_flag("--quiet", o->quiet, "show errors, failures and answers only")->group(group);
}

void AddConsoleOptions(CLI::App *app, ConsoleOptions *options)
{
    AddCommandOptions(app, options);
    AddOutputOptions(app, options);
}

} // namespace sim
