// FrameCommands.h - the commands that send a frame: from words to frames. Those of the rows below, and every function
// under its own name.
// State: none; the tags of function commands are counted in the Peer. Threads: any.
#pragma once

#include <string>
#include <vector>

#include "simulator/Conversation.h"
#include "simulator/Words.h"

namespace sim
{

struct FrameContext {
    Peer *peer;
    std::string key;
    int64_t nowMs; // for the time that a reply took
};

struct FrameCommandRow {
    const char *name;
    const char *arguments; // as help shows them
    const char *help;
    size_t least, most; // words after the name
    bool (*make)(const Words &words, FrameContext *context, OutFrame *frame, std::string *error);
};

extern const std::vector<FrameCommandRow> kFrameCommands;

// Whether a command of this name sends a frame.
bool SendsFrame(const std::string &name);

// Makes the frame of a whole command line. False with the reason when it is none or an argument is wrong.
bool MakeFrame(const Words &words, FrameContext *context, OutFrame *frame, std::string *error);

} // namespace sim
