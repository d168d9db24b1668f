// DeviceCommands.h - `plug-gateway device`: the directory from the command line.
// State: none. Threads: main's.
#pragma once

#include <CLI/App.hpp>

#include "gateway/bus/Bus.h"

namespace gateway
{

// Adds the subcommand. Its callbacks connect as `bus` says by then, and throw std::runtime_error with what went wrong.
void AddDeviceCommands(CLI::App *app, const BusOptions &bus);

} // namespace gateway
