#include "simulator/platform/PlatformOptions.h"

#include "simulator/faults/FaultCommand.h"
#include "simulator/http/HttpFaults.h"
#include "simulator/platform/PlatformFaults.h"

namespace sim
{

static const char kFooter[] =
    R"(Commands come from a script, from standard input line by line, or from a prompt when both standard input and
standard output are a terminal. "help" lists them, "misbehave" lists the faults.

Examples:
  plugsim platform                              serve, with a prompt
  plugsim platform --login 127.0.0.1:0 --json   for programs: any free login port, one JSON object a line
  plugsim platform --http :8199 --http-size 1G  with files for rate tests and downloads
  plugsim platform --misbehave 'late@login=3 1' answer the first login three seconds late
  printf 'wait login\nidentity\nwait reply\nexpect status 0\n' | plugsim platform --script -

Exit status:
  0  success; also after SIGINT or SIGTERM
  1  a command of a script failed, or the agent sent a frame with a wrong checksum or another error
  2  wrong usage
  3  cannot listen)";

static CLI::Validator AddressCheck()
{
    return CLI::Validator(
        [](std::string &text) {
            Address address;
            return ParseAddress(text, &address) ? std::string() : "'" + text + "' is not ADDR:PORT";
        },
        "", "address");
}

static CLI::Option *AddAddress(CLI::App *app, const char *name, std::function<void(const Address &)> take,
                               const char *help, const std::string &group)
{
    const auto read = [take](const std::string &text) {
        Address address;
        ParseAddress(text, &address);
        take(address);
    };
    return app->add_option_function<std::string>(name, read, help)
        ->type_name("ADDR:PORT")
        ->check(AddressCheck())
        ->group(group);
}

static void AddServerOptions(CLI::App *app, PlatformOptions *o)
{
    const std::string group = "Servers";
    AddAddress(
        app, "--register", [o](const Address &address) { o->registrationServers.push_back(address); },
        "a registration server, may be repeated [127.0.0.1:6039]; port 0 is any free one", group)
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->trigger_on_parse();
    AddAddress(
        app, "--login", [o](const Address &address) { o->login = address; },
        "the login server [127.0.0.1:6040]; port 0 is any free one", group);
    AddAddress(
        app, "--announce", [o](const Address &address) { o->announce = address; },
        "the login server that registrations get [where it listens]", group);
}

static void AddHttpOptions(CLI::App *app, PlatformOptions *o)
{
    const std::string group = "Files over HTTP";
    const auto serve = [o](const Address &address) {
        o->http.address = address;
        o->httpOn = true;
    };
    CLI::Option *http = AddAddress(app, "--http", serve, "an HTTP server [none]; port 0 is any free one", group);
    app->add_option_function<std::string>(
           "--http-size", [o](const std::string &text) { ParseSize(text, &o->http.size); },
           "length of the made-up files below /download/, also with K, M or G [100M]")
        ->type_name("SIZE")
        ->check(CLI::Validator(
            [](std::string &text) {
                int64_t bytes;
                return ParseSize(text, &bytes) ? std::string() : "'" + text + "' is not a size";
            },
            "", "size"))
        ->needs(http)
        ->group(group);
    app->add_option("--http-root", o->http.root, "serve the files in DIR too [none]")
        ->type_name("DIR")
        ->needs(http)
        ->group(group);
    AddFaultOption(app, "--http-misbehave", kHttpFaults, &o->http.faults,
                   "switch on a fault: 'PATH|* NAME[=VALUE]... [COUNT]', may be repeated; \"http\" lists them")
        ->needs(http)
        ->group(group);
}

static void AddSessionOptions(CLI::App *app, PlatformOptions *o)
{
    const std::string group = "Session";
    app->add_option("--key", o->session.key,
                    "the KEY of the agent's plug.conf; 16 bytes are used [" + o->session.key + "]")
        ->type_name("TEXT")
        ->group(group);
    app->add_option("--interval", o->session.interval, "seconds between heartbeats [60]")
        ->type_name("SECONDS")
        ->check(CLI::Range(-32768, 32767).description(""))
        ->group(group);
    app->add_option("--token", o->session.token, "the token of every registration [a new one for each]")
        ->type_name("TEXT")
        ->group(group);
    app->add_option("--plugin-id", o->session.pluginId, "the plugin identifier that registrations get [plugin-0001]")
        ->type_name("TEXT")
        ->group(group);
    app->add_flag_callback(
           "--no-heartbeat-ack", [o] { o->session.ackHeartbeats = false; }, "do not acknowledge heartbeats")
        ->group(group);
    app->add_flag_callback(
           "--no-upload-ack", [o] { o->session.ackUploads = false; }, "do not acknowledge uploads")
        ->group(group);
    AddFaultOption(app, "--misbehave", kPlatformFaults, &o->faults,
                   "switch on a fault: 'NAME[@STEP][=VALUE] [COUNT]', may be repeated; \"misbehave\" lists them")
        ->group(group);
    app->add_option("--seed", o->seed, "seed of the random numbers in garbage and noise [1]")
        ->type_name("N")
        ->group(group);
}

CLI::App *AddPlatformCommand(CLI::App *app, PlatformOptions *options)
{
    ParseAddress("127.0.0.1:6040", &options->login);
    CLI::App *command =
        app->add_subcommand("platform", "A registration server and a login server to run an agent against");
    AddServerOptions(command, options);
    AddHttpOptions(command, options);
    AddSessionOptions(command, options);
    AddConsoleOptions(command, options);
    command->footer(kFooter);
    return command;
}

} // namespace sim
