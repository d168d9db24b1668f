#include "simulator/manager/ManagerOptions.h"

#include "simulator/console/Words.h"
#include "simulator/faults/FaultCommand.h"
#include "simulator/manager/LocalFaults.h"

namespace sim
{

static const char kFooter[] =
    R"(Commands come from a script, from standard input line by line, or from a prompt when both standard input and
standard output are a terminal. "help" lists them, "misbehave" lists the faults.

Examples:
  plugsim manager                                a household to play with: connect and prompt
  plugsim manager --socket /run/CommServer --json
  plugsim manager --misbehave 'late@mesh=3 1'    answer the first question about the mesh three seconds late
  printf 'wait connected\nwait request name=mesh\n' | plugsim manager --script -

Exit status:
  0  all well; also after SIGINT or SIGTERM
  1  a command of a script failed, or the agent sent what it may never send
  2  wrong use)";

static void AddSocketOptions(CLI::App *app, ManagerOptions *o)
{
    const std::string group = "Socket";
    app->add_option("--socket", o->socket, "the agent's socket [/tmp/CommServer]")->type_name("PATH")->group(group);
    app->add_option_function<std::string>(
           "--retry",
           [o](const std::string &text) {
               if (!ParseSeconds(text, &o->retryMs) || o->retryMs < 10)
                   throw CLI::ValidationError("--retry", "no time");
           },
           "how often to try while nobody listens [1]; half as much longer after a connection has ended")
        ->type_name("SECONDS")
        ->group(group);
    app->add_option("--sequence", o->sequence, "number of the first frame [the time in seconds]")
        ->type_name("N")
        ->group(group);
}

static void AddModelOptions(CLI::App *app, ManagerOptions *o)
{
    const std::string group = "Household";
    app->add_option("--household", o->household, "begin with the commands about the household in FILE [none]")
        ->type_name("FILE")
        ->group(group);
    app->add_option("--state", o->state, "keep the auto-report configuration in FILE [in memory]")
        ->type_name("FILE")
        ->group(group);
    app->add_option_function<std::string>(
           "--reports", [o](const std::string &text) { o->reports = text == "on"; },
           "on: report by that configuration [off]")
        ->type_name("on|off")
        ->check(CLI::IsMember({"on", "off"}).description(""))
        ->group(group);
    AddFaultOption(app, "--misbehave", kLocalFaults, &o->faults,
                   "switch on a fault: 'NAME[@WHAT][=VALUE] [COUNT]', may be repeated; \"misbehave\" lists them")
        ->group(group);
}

CLI::App *AddManagerCommand(CLI::App *app, ManagerOptions *options)
{
    CLI::App *command =
        app->add_subcommand("manager", "The router's management process, which an agent asks and hears");
    AddSocketOptions(command, options);
    AddModelOptions(command, options);
    AddConsoleOptions(command, options);
    command->footer(kFooter);
    return command;
}

} // namespace sim
