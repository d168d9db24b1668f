// Decoder.h - a frame as a tree of named fields, the same for both directions.
// State: none. Threads: any.
#pragma once

#include "platform/SessionFrames.h"
#include "protocol/FrameCodec.h"
#include "protocol/Tree.h"

namespace protocol
{

// The fields of the frame. `step` tells the two meanings of a session acknowledgement apart and is otherwise ignored.
// Errors in the content are added to `frame->problems`.
Fields DescribeFrame(ParsedFrame *frame, Step step);

// The name of the event for the arrival of this frame: "register", "login", "heartbeat", "upload", "ack" (of a plugin
// command), "reply" (to a function command), "frame" for everything else.
std::string ArrivalEvent(uint8_t msgType);

// "2.0.0.7"
std::string VersionText(const LoginRequest &request);

} // namespace protocol
