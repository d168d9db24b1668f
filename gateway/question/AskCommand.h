// AskCommand.h - `plug-gateway ask`: one question from the command line.
// State: none. Threads: main's.
#pragma once

#include <CLI/App.hpp>

#include "gateway/bus/Bus.h"

namespace gateway
{

// Adds the subcommand; throws like AddDeviceCommands.
void AddAskCommand(CLI::App *app, const BusOptions &bus);

} // namespace gateway
