// LocalCommands.h - the commands of `plugsim manager` that send a frame: makes the frame from their words.
// State: none. Threads: any.
#pragma once

#include <string>

#include "simulator/console/Interpreter.h"
#include "simulator/manager/Household.h"
#include "simulator/manager/LocalSender.h"

namespace sim
{

// Returns the commands; each makes `*frame`. Both arguments may be nullptr if no command is run.
[[nodiscard]] CommandList LocalCommands(Household *household, LocalOutgoing *frame);

// Makes the frame of a whole command line; this may change the household, too. Returns false with the reason when it is
// no such command or an argument is wrong.
[[nodiscard]] bool MakeLocalFrame(const Words &words, Household *household, LocalOutgoing *frame, std::string *error);

// Returns the text of a report of type 1, 2 or 3 without one of the user's: who is online.
[[nodiscard]] std::string TypedReportText(int type, const Household &household);

} // namespace sim
