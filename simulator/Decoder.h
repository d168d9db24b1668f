// Decoder.h - a frame as a tree of named fields, the same for both directions.
// State: none. Threads: any.
#pragma once

#include "simulator/FrameCodec.h"
#include "simulator/Tree.h"

namespace sim
{

// What the frame holds. `step` tells the two meanings of a session acknowledgement apart and is not looked at
// otherwise. Faults found in the content are added to `frame->problems`.
Fields DescribeFrame(ParsedFrame *frame, Step step);

// The event that the arrival of this frame is: "register", "login", "heartbeat", "upload", "ack" (of a plugin
// command), "reply" (to a function command), "frame" for everything else.
std::string ArrivalEvent(uint8_t msgType);

} // namespace sim
