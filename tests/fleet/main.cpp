// gateway_load - a fleet of synthetic routers at one gateway: how it does under load, and whether it stays as it is.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <filesystem>
#include <sys/resource.h>

#include "tests/e2e/EndToEnd.h"
#include "tests/e2e/Sandbox.h"
#include "tests/fleet/Campaigns.h"

void EndToEnd::SetUp() {} // what we share with the end-to-end tests names it; there is no such test here

// Gateway and fleet have a descriptor for each connection. Only root may have more than the hard limit.
static void AllowDescriptors()
{
    constexpr rlim_t kMany = 1 << 17;
    struct rlimit limit = {kMany, kMany};
    if (setrlimit(RLIMIT_NOFILE, &limit) == 0 || getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}

static bool EnoughDescriptors(unsigned routers)
{
    constexpr rlim_t kOthers = 200;
    struct rlimit limit;
    return getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur >= routers + kOthers;
}

static void AddLabOptions(CLI::App *app, LabOptions *options)
{
    app->add_option("--routers", options->routers, "in the fleet")->check(CLI::Range(1, 60000))->capture_default_str();
    app->add_option("--interval", options->interval, "seconds between a router's heartbeats")
        ->check(CLI::Range(1, 3600))
        ->capture_default_str();
    app->add_option("--settle", options->settle, "seconds before what has been under way is taken for done")
        ->check(CLI::NonNegativeNumber)
        ->capture_default_str();
    app->add_option("--folder", options->folder, "an empty one, not in /tmp, for what the run writes")->required();
}

int main(int argc, char *argv[])
{
    LoadOptions load;
    SoakOptions soak;
    CLI::App app("a fleet of synthetic routers at one gateway, with a NATS server of its own");
    app.require_subcommand(1);
    CLI::App *loads =
        app.add_subcommand("load", "measure logins, memory, processor time, questions, reports, restarts");
    AddLabOptions(loads, &load.lab);
    const auto add = [loads](const char *name, auto &value, const char *about, double least = 0) {
        loads->add_option(name, value, about)->check(CLI::Range(least, 1e6))->capture_default_str();
    };
    add("--seconds", load.seconds, "of heartbeats alone", 1);
    add("--questions", load.questions, "one after another", 1);
    add("--burst-seconds", load.burstSeconds, "of questions at once, and of reports", 0.1);
    add("--reports", load.reportRate, "in a second, offered", 1);
    add("--addresses", load.addresses, "of the second storm; 0: no second one");
    add("--outage", load.outage, "seconds before the third storm; 0: no third one");
    add("--plugsim", load.plugsimSessions, "sessions at plugsim; 0: without it");
    CLI::App *soaks =
        app.add_subcommand("soak", "hold the traffic of every day up, faster, and look whether all is flat");
    AddLabOptions(soaks, &soak.lab);
    soaks
        ->add_option("--warm-up", soak.warmUp, "seconds of the same traffic before, in which the gateway gets its size")
        ->check(CLI::NonNegativeNumber)
        ->capture_default_str();
    soaks->add_option("--minutes", soak.minutes, "that are judged")
        ->check(CLI::Range(0.1, 1000.0))
        ->capture_default_str();
    soaks->add_option("--speed", soak.speed, "times the rates of every day")
        ->check(CLI::Range(1, 100))
        ->capture_default_str();
    const auto every = [soaks](const char *name, double &value, const char *about) {
        soaks->add_option(name, value, about)->check(CLI::Range(1.0, 1e12))->capture_default_str();
    };
    every("--report-every", soak.reportEvery, "seconds between a router's reports, at speed 1");
    every("--question-every", soak.questionEvery, "the same of questions to it");
    every("--session-lasts", soak.sessionLasts, "the same of its lost sessions");
    CLI11_PARSE(app, argc, argv);

    setvbuf(stdout, nullptr, _IOLBF, 0);
    AllowDescriptors();
    LabOptions &lab = loads->parsed() ? load.lab : soak.lab;
    if (!EnoughDescriptors(lab.routers)) {
        fprintf(stderr, "gateway_load: %u connections are more than this user's limit of descriptors\n", lab.routers);
        return 3;
    }
    std::filesystem::create_directories(lab.folder);
    lab.folder = std::filesystem::absolute(lab.folder);
    std::filesystem::remove_all(lab.folder + "/streams"); // of an earlier run
    std::string reason;
    if (!EnterSandbox(PLUG_BUILD_FOLDER, &reason)) {
        fprintf(stderr, "no sandbox: %s\n", reason.c_str());
        return 77;
    }
    int status = 3;
    try {
        status = (loads->parsed() ? RunLoad(load) : RunSoak(soak)) ? 0 : 1;
    } catch (const Failure &failure) {
        fprintf(stderr, "gateway_load: %s\n", failure.what());
        status = 1;
    } catch (const std::exception &error) {
        fprintf(stderr, "gateway_load: %s\n", error.what());
    }
    std::filesystem::remove_all(lab.folder + "/streams");
    return status;
}
