// Commands.h - the subcommands that do one thing and end. Each has its source in the folder of what it works with.
// State: none. Threads: main's.
#pragma once

#include <CLI/App.hpp>

#include "gateway/bus/Bus.h"

namespace gateway
{

// Each adds its subcommand. The callbacks connect as `bus` says by then, throw std::runtime_error with what went wrong,
// and CLI::RuntimeError with an exit status of their own.
void AddDeviceCommands(CLI::App *app, const BusOptions &bus); // `device`: the directory
void AddAskCommand(CLI::App *app, const BusOptions &bus);     // `ask`: one question
void AddUpdateCommand(CLI::App *app, const BusOptions &bus);  // `update`: a staged update of the agents of a fleet

} // namespace gateway
