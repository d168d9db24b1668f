#include "simulator/PlatformOptions.h"

#include "simulator/Misbehaviour.h"

namespace sim
{

static const char kFooter[] =
    R"(Commands come from a script, from standard input line by line, or from a prompt when both standard input and
standard output are a terminal. "help" lists them, "misbehave" lists what the platform can do wrong.

Examples:
  plugsim platform                              a platform to play with: serve and prompt
  plugsim platform --login 127.0.0.1:0 --json   for programs: any free login port, one JSON object a line
  plugsim platform --http :8199 --http-size 1G  with files for rate tests and downloads
  plugsim platform --misbehave 'late@login=3 1' answer the first login three seconds late
  printf 'wait login\nidentity\nwait reply\nexpect status 0\n' | plugsim platform --script -

Exit status:
  0  all well; also after SIGINT or SIGTERM
  1  a command of a script failed, or a frame with a wrong checksum or another fault was received
  2  wrong use
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

static Address ToAddress(const std::string &text)
{
    Address address;
    ParseAddress(text, &address);
    return address;
}

static void AddServerOptions(CLI::App *app, PlatformOptions *o)
{
    const std::string group = "Servers";
    app->add_option_function<std::vector<std::string>>(
           "--register",
           [o](const std::vector<std::string> &texts) {
               o->registrationServers.clear();
               for (const std::string &text : texts) o->registrationServers.push_back(ToAddress(text));
           },
           "a registration server, may be repeated [127.0.0.1:6039]; port 0 is any free one")
        ->type_name("ADDR:PORT")
        ->expected(1)
        ->take_all()
        ->check(AddressCheck())
        ->group(group);
    app->add_option_function<std::string>(
           "--login", [o](const std::string &text) { o->login = ToAddress(text); },
           "the login server [127.0.0.1:6040]; port 0 is any free one")
        ->type_name("ADDR:PORT")
        ->check(AddressCheck())
        ->group(group);
    app->add_option_function<std::string>(
           "--announce",
           [o](const std::string &text) {
               o->announce = ToAddress(text);
               o->announceGiven = true;
           },
           "the login server that registrations are told [where it listens]")
        ->type_name("ADDR:PORT")
        ->check(AddressCheck())
        ->group(group);
}

static void AddHttpOptions(CLI::App *app, PlatformOptions *o)
{
    const std::string group = "Files over HTTP";
    CLI::Option *http = app->add_option_function<std::string>(
                               "--http",
                               [o](const std::string &text) {
                                   o->http.address = ToAddress(text);
                                   o->httpOn = true;
                               },
                               "an HTTP server [none]; port 0 is any free one")
                            ->type_name("ADDR:PORT")
                            ->check(AddressCheck())
                            ->group(group);
    app->add_option_function<std::string>(
           "--http-size", [o](const std::string &text) { ParseSize(text, &o->http.size); },
           "length of the made-up files below /download/, with K, M or G if you like [100M]")
        ->type_name("SIZE")
        ->check(CLI::Validator(
            [](std::string &text) {
                int64_t bytes;
                return ParseSize(text, &bytes) ? std::string() : "'" + text + "' is no size";
            },
            "", "size"))
        ->needs(http)
        ->group(group);
    app->add_option("--http-root", o->http.root, "serve the files in DIR too [none]")
        ->type_name("DIR")
        ->needs(http)
        ->group(group);
    AddWrongsOption<HttpWrongs>(
        app, "--http-misbehave", &o->http.misbehaviours,
        "do something wrong: 'PATH|* NAME[=VALUE]... [COUNT]', may be repeated; \"http\" lists the names")
        ->needs(http)
        ->group(group);
}

static void AddSessionOptions(CLI::App *app, PlatformOptions *o)
{
    const std::string group = "Session";
    app->add_option("--key", o->key, "the KEY of the agent's plug.conf; 16 bytes count [" + o->key + "]")
        ->type_name("TEXT")
        ->group(group);
    app->add_option("--interval", o->interval, "seconds between heartbeats [60]")
        ->type_name("SECONDS")
        ->check(CLI::Range(-32768, 32767).description(""))
        ->group(group);
    app->add_option("--token", o->token, "the token of every registration [a new one for each]")
        ->type_name("TEXT")
        ->group(group);
    app->add_option("--plugin-id", o->pluginId, "the plugin identifier that registrations are told [plugin-0001]")
        ->type_name("TEXT")
        ->group(group);
    app->add_flag_callback(
           "--no-heartbeat-ack", [o] { o->ackHeartbeats = false; }, "do not acknowledge heartbeats")
        ->group(group);
    app->add_flag_callback(
           "--no-upload-ack", [o] { o->ackUploads = false; }, "do not acknowledge uploads")
        ->group(group);
    AddWrongsOption<Misbehaviour>(
        app, "--misbehave", &o->misbehaviours,
        "do something wrong: 'NAME[@STEP][=VALUE] [COUNT]', may be repeated; \"misbehave\" lists the names")
        ->group(group);
    app->add_option("--seed", o->seed, "start of the random numbers in garbage and noise [1]")
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
