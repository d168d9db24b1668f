// FrameCommands.h - the commands that send a frame, from words to frames: a table, and every function under its own
// name.
// State: none; the tags of function commands are counted in the Peer. Threads: any.
#pragma once

#include <string>

#include "simulator/console/Interpreter.h"
#include "simulator/platform/Conversation.h"

namespace sim
{

struct FrameContext {
    Peer *peer;
    std::string key;
    int64_t nowMs; // to measure the time of a reply
};

// The commands that make a frame of their words in `*frame`. Both may be nullptr when none is run.
CommandList FrameCommands(FrameContext *context, OutFrame *frame);

// Every function under its own name, for help and completions; MakeFrame() knows them.
CommandList FunctionCommands();

// Makes the frame of a whole command line. False with the reason if it is no frame command or an argument is invalid.
bool MakeFrame(const Words &words, FrameContext *context, OutFrame *frame, std::string *error);

} // namespace sim
