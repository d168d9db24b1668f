// HttpCommand.h - the command `http`: what the HTTP server is to do otherwise than well.
// State: none. Threads: the loop's.
#pragma once

#include "simulator/Commands.h"

namespace sim
{

// The words of one line, "http" first. Alone it lists what there is.
Outcome RunHttp(const Words &words, CommandContext *context);

} // namespace sim
