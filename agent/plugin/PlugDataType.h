// PlugDataType.h - the data types of the platform's commands to the agent itself.
// State: none. Threads: any.
#pragma once

#include <cstdint>

// Data types that stand for a command, and two of reports about them.
enum PlugDataType : uint8_t {
    PLUG_UPDATE_CMD = 1,       // announces an update of the agent
    PLUG_UPDATE = 2,           // carries it out (plugin/PlugUpdate.h)
    PLUG_UPDATE_REPORT = 3,    // how it ended
    PLUG_ONLINE = 4,           // is acknowledged, no more, as the next three
    PLUG_VIP = 5,              // a device that comes first
    PLUG_RECOG = 6,            // what a device was recognised as
    PLUG_RERECOG = 7,          // a device to be recognised again
    PLUG_ROUTE_SET = 9,        // add or delete a port forwarding (rules/PortForward.h)
    PLUG_FIRMWARE_CHECK = 15,  // may the router's firmware be updated?
    PLUG_FIRMWARE_UPDATE = 16, // hands an update of it over to the local peer
    PLUG_FIRMWARE_ANSWER = 17, // the answer to both (comm/FirmwareAnswer.h)
    PLUG_FN40_INTERVAL = 18,   // how often the attached devices are reported
};
