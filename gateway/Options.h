// Options.h - the command line of plug-gateway, which is also its configuration file.
// State: none. Threads: main's.
#pragma once

#include <CLI/App.hpp>

#include "gateway/bus/Bus.h"
#include "gateway/session/World.h"
#include "gateway/web/Web.h"

namespace gateway
{

struct RunOptions {
    std::string name;                        // the first part of this gateway's id
    std::string registerAt = "0.0.0.0:6039"; // "none": no registrations here
    std::string loginAt = "0.0.0.0:6040";    // "none": no sessions here
    std::string announce; // where routers reach the login server; needed when that listens everywhere
    std::string secretFile;
    unsigned threads = 0; // 0: one for each processor
    size_t maxConnections = 20000;
    double registrationsPerSecond = 20; // of one address; 0: no limit
    double allRate = 50;                // routers in a second that a question to all asks here
    int drainSeconds = 60;
    int storeSeconds = 10;
    size_t maxOutstanding = 20000;
    int reportDays = 7;
    std::string logLevel = "info";
    SessionSettings session;
    std::string webAt = "127.0.0.1:9470"; // "none": no web server
    WebOptions web;
    std::string webTokenFile;
};

// Options of all subcommands: the message system.
void AddBusOptions(CLI::App *app, BusOptions *bus);
void AddRunOptions(CLI::App *run, RunOptions *options);

// The first line of a file; throws std::runtime_error when there is none.
std::string FirstLine(const std::string &file);

// To the standard output, at once; throws std::runtime_error when that fails.
void Print(const std::string &text);

} // namespace gateway
