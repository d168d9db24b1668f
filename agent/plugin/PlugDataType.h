// PlugDataType.h - the data types of the platform's commands to the agent itself, and of the reports about them.
#pragma once

#include <cstdint>

enum PlugDataType : uint8_t {
    PLUG_UPDATE_CMD = 1,       // announces an update of the agent
    PLUG_UPDATE = 2,           // carries it out (plugin/PlugUpdate.h)
    PLUG_UPDATE_REPORT = 3,    // reports how it ended
    PLUG_ONLINE = 4,           // this one and the next three are only acknowledged
    PLUG_VIP = 5,              // a device that gets priority
    PLUG_RECOG = 6,            // what kind of device was recognised
    PLUG_RERECOG = 7,          // a device to recognise again
    PLUG_ROUTE_SET = 9,        // adds or deletes a port forwarding (rules/PortForward.h)
    PLUG_FIRMWARE_CHECK = 15,  // asks whether the router's firmware may be updated
    PLUG_FIRMWARE_UPDATE = 16, // hands a firmware update over to the local peer
    PLUG_FIRMWARE_ANSWER = 17, // answers both (comm/FirmwareAnswer.h)
    PLUG_FN40_INTERVAL = 18,   // sets how often the attached devices are reported
};
