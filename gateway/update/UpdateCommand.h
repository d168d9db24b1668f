// UpdateCommand.h - `plug-gateway update`: a staged update of the agents of a fleet.
// State: none. Threads: main's.
#pragma once

#include <CLI/App.hpp>

#include "gateway/bus/Bus.h"

namespace gateway
{

// Adds the subcommand; throws like AddDeviceCommands.
void AddUpdateCommand(CLI::App *app, const BusOptions &bus);

} // namespace gateway
