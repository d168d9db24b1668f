#include "gateway/Options.h"

#include <CLI/CLI.hpp>
#include <asio/ip/host_name.hpp>
#include <cstdio>
#include <fstream>
#include <stdexcept>

#include "platform/SessionFrames.h"
#include "protocol/Address.h"

namespace gateway
{

std::string FirstLine(const std::string &file)
{
    std::ifstream input(file);
    std::string line;
    if (!std::getline(input, line) || line.empty()) throw std::runtime_error(file + ": cannot be read, or is empty");
    return line;
}

void Print(const std::string &text)
{
    if (fputs(text.c_str(), stdout) < 0 || fflush(stdout) != 0) throw std::runtime_error("cannot write the output");
}

void AddBusOptions(CLI::App *app, BusOptions *bus)
{
    app->add_option("--nats", bus->servers, "a NATS server; several may be given")->capture_default_str();
    app->add_option("--nats-credentials", bus->credentials, "file with the user's credentials");
    app->add_flag("--nats-tls", bus->tls, "encrypt the connection to NATS");
    app->add_option("--nats-ca", bus->ca, "file with the certificates to trust; means --nats-tls");
    CLI::Option *certificate =
        app->add_option("--nats-certificate", bus->certificate, "file with the own certificate; means --nats-tls");
    certificate->needs(app->add_option("--nats-key", bus->key, "file with the key of the own certificate"));
    app->add_option("--replicas", bus->replicas, "copies of each stream and bucket that is made")
        ->check(CLI::Range(1, 5))
        ->capture_default_str();
}

void AddRunOptions(CLI::App *run, RunOptions *options)
{
    options->name = asio::ip::host_name();
    const auto add = [run](const char *name, auto &value, const char *about) {
        return run->add_option(name, value, about)->capture_default_str()->take_last();
    };
    const CLI::Validator address(
        [](std::string &text) {
            protocol::Address parsed;
            return text == "none" || protocol::ParseAddress(text, &parsed) ? "" : text + " is no IPv4 address:port";
        },
        "ADDRESS:PORT");
    SessionSettings &session = options->session;
    add("--name", options->name, "of this gateway: letters, digits, - and _");
    add("--register", options->registerAt, "where routers register, or none")->check(address);
    add("--login", options->loginAt, "where they log in, or none")->check(address);
    add("--announce", options->announce, "where routers reach --login, if it is another address")->check(address);
    add("--secret-file", options->secretFile, "its first line signs the tokens; the same for all gateways");
    add("--threads", options->threads, "for sessions; 0: one for each processor")->check(CLI::Range(0, 256));
    add("--max-connections", options->maxConnections, "at the same time");
    add("--registrations-per-second", options->registrationsPerSecond, "of one address; 0: no limit");
    add("--interval", session.interval, "seconds between heartbeats")->check(CLI::Range(1, 32767));
    add("--token-life", session.tokenLife, "seconds between registration and login")->check(CLI::Range(1, 86400));
    add("--half-open-seconds", session.halfOpenSeconds, "for a registration or a login to come");
    add("--question-seconds", session.questionSeconds, "for the reply to a question");
    add("--command-seconds", session.commandSeconds, "for the answer to a plugin command");
    add("--questions-waiting", session.questionsWaiting, "of one router, at most");
    add("--reports-outstanding", session.reportsOutstanding, "of one router, at most, until the stream has them");
    add("--max-outstanding", options->maxOutstanding, "messages that the stream has not yet, of all routers");
    add("--store-seconds", options->storeSeconds, "until a report that the stream does not take is given up");
    add("--report-days", options->reportDays, "that the stream keeps reports, when this gateway makes it");
    add("--all-rate", options->allRate, "routers in a second that a question to all asks here");
    add("--drain-seconds", options->drainSeconds, "over which the sessions are ended after SIGTERM");
    const CLI::Validator pluginId(
        [](std::string &text) {
            return text.size() <= kPluginIdSize ? "" : "a plugin identifier has at most 32 characters";
        },
        "");
    add("--plugin-id", session.pluginId, "what registrations are told")->check(pluginId);
    add("--log-level", options->logLevel, "trace, debug, info, warn, error or off")
        ->check(CLI::IsMember({"trace", "debug", "info", "warn", "error", "off"}));
    add("--web", options->webAt, "where metrics, health and page are, or none")->check(address);
    add("--web-token-file", options->webTokenFile, "its first line opens the page's data");
    run->add_flag("--allow-ask", options->web.allowAsk, "let the page put questions");
}

} // namespace gateway
