// LocalCommands.h - the commands of the management process that send a frame: from words to the frame.
// State: none. Threads: any.
#pragma once

#include <string>
#include <vector>

#include "simulator/manager/Household.h"
#include "simulator/manager/LocalWrongs.h"

namespace sim
{

struct LocalCommandRow {
    const char *name;
    const char *arguments; // as help shows them
    const char *help;
    size_t least, most; // words after the name
    bool (*make)(const Words &words, Household *household, LocalOutgoing *frame, std::string *error);
};

extern const std::vector<LocalCommandRow> kLocalCommands;

// Whether a command of this name sends a frame.
bool SendsLocalFrame(const std::string &name);

// Makes the frame of a whole command line, which may also change the household. False with the reason when it is none
// or an argument is wrong.
bool MakeLocalFrame(const Words &words, Household *household, LocalOutgoing *frame, std::string *error);

// What a report of type 1, 2 or 3 says of the household when it is left to us.
std::string TypedReportText(int type, const Household &household);

// What may follow `words`.
std::vector<std::string> LocalCompletions(const Words &words);

} // namespace sim
