// DevicesCommand.h - the command `devices`: asks an agent to report its devices and shows them.
// State: none. Threads: the loop's.
#pragma once

#include <string>

#include "simulator/platform/Commands.h"

namespace sim
{

// "devices [SECONDS]": asks for the report, waits for it and shows it.
Outcome RunDevices(const Words &words, CommandContext *context);

// The devices of a report of all devices, a line each.
std::string DevicesTable(const Fields &report);

} // namespace sim
