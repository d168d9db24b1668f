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

// The payload of a function's reply, from the tag on: "function", "function_name", "tag", "status", "meaning", and
// "fields", or "data" if it has no layout; an agent's complaint about the request has only its "text".
Fields DescribeReply(const Bytes &payload, std::vector<std::string> *problems);

// The payload of an upload (MsgType 17 or 19): "text" and "json" if it is one, "meaning", "fields".
Fields DescribeUpload(uint8_t msgType, uint8_t dataType, const Bytes &payload, std::vector<std::string> *problems);

// The name of the event for the arrival of this frame: "register", "login", "heartbeat", "upload", "ack" (of a plugin
// command), "reply" (to a function command), "frame" for everything else.
std::string ArrivalEvent(uint8_t msgType);

// "2.0.0.7"
std::string VersionText(const LoginRequest &request);

} // namespace protocol
