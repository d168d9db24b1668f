// Names.h - names for the numbers in frames.
// State: none. Threads: any.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace protocol
{

// Data types of plugin commands and their reports.
enum PluginType : uint8_t {
    PLUGIN_UPDATE_COMMAND = 1,
    PLUGIN_UPDATE = 2,
    PLUGIN_UPDATE_REPORT = 3,
    PLUGIN_FIRMWARE_CHECK = 15,
    PLUGIN_FIRMWARE_UPDATE = 16,
    PLUGIN_REPORT_INTERVAL = 18,
};

// "heartbeat-ack" for 2; empty for a MsgType that is not used.
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

} // namespace protocol
