// PluginCommands.h - what a platform tells the agent itself: from words to the JSON texts that an agent reads, and from
// its results to what they mean.
// State: none. Threads: any.
#pragma once

#include <cstdint>
#include <string>

#include "simulator/Words.h"

namespace sim
{

// Plugin data types with a command of their own.
enum PluginType : uint8_t {
    PLUGIN_UPDATE_COMMAND = 1,
    PLUGIN_UPDATE = 2,
    PLUGIN_UPDATE_REPORT = 3,
    PLUGIN_FIRMWARE_CHECK = 15,
    PLUGIN_FIRMWARE_UPDATE = 16,
    PLUGIN_REPORT_INTERVAL = 18,
};

// The text of a whole command line. False with a reason that names the word when one is wrong: what an agent is to
// cope with all the same is sent with `plugin`.
//   firmware-check FROM TO
//   firmware-update FROM TO URL LENGTH METHOD SUM
//   report-interval MINUTES
bool FirmwareCheckText(const Words &words, std::string *text, std::string *error);
bool FirmwareUpdateText(const Words &words, std::string *text, std::string *error);
bool ReportIntervalText(const Words &words, std::string *text, std::string *error);

// What the result of a plugin command means; empty for one that has no meaning of its own.
std::string PluginResultMeaning(uint8_t dataType, int result);

} // namespace sim
