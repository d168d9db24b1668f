// LocalCommands.h - the commands of the management process that send a frame: from words to the frame.
// State: none. Threads: any.
#pragma once

#include <string>

#include "simulator/console/Interpreter.h"
#include "simulator/manager/Household.h"
#include "simulator/manager/LocalSender.h"

namespace sim
{

// The commands that make a frame of their words in `*frame`. Both may be nullptr when none is run.
CommandList LocalCommands(Household *household, LocalOutgoing *frame);

// Makes the frame of a whole command line, which may also change the household. False with the reason when it is none
// or an argument is wrong.
bool MakeLocalFrame(const Words &words, Household *household, LocalOutgoing *frame, std::string *error);

// What a report of type 1, 2 or 3 says of the household when it is left to us.
std::string TypedReportText(int type, const Household &household);

} // namespace sim
