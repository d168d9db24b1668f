// Names.h - names for the numbers in frames.
// State: none. Threads: any.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace sim
{

// "heartbeat-ack" for 2; empty for a MsgType that nobody uses.
std::string MsgTypeName(uint8_t msgType);

// What a DataType means in a frame of this MsgType: plugin data in the frames without MAC, a function in the others.
// Empty when it has no name.
std::string DataTypeName(uint8_t msgType, uint8_t dataType);

// Reads a name or a number. False when it is neither.
bool ParseMsgType(const std::string &text, uint8_t *msgType);
bool ParsePluginType(const std::string &text, uint8_t *dataType);

// For completion and help.
std::vector<std::string> PluginTypeNames();
std::vector<std::string> MsgTypeNames();

} // namespace sim
