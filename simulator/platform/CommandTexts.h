// CommandTexts.h - the commands whose frame is a JSON text: from words to the text that an agent reads.
// State: none. Threads: any.
#pragma once

#include <string>

#include "simulator/console/Words.h"

namespace sim
{

// The text of a whole command line. False, with a reason that names the word, if one is invalid: to send an agent
// something invalid, use a text (`plugin`, `set-bandwidth`, `surf-json`).
using CommandText = bool(const Words &words, std::string *text, std::string *error);

// The rules that a platform gives a router. A MAC is written as agents look it up: upper case, with colons.
CommandText ForwardText; // forward add|del PRE_IP PRE_PORT POST_IP POST_PORT
CommandText LimitText;   // limit MAC UP DOWN | limit MAC off
CommandText SurfText;    // surf add|del MAC DAYS START STOP

// Commands to the agent itself.
CommandText FirmwareCheckText;  // firmware-check FROM TO
CommandText FirmwareUpdateText; // firmware-update FROM TO URL LENGTH METHOD SUM
CommandText ReportIntervalText; // report-interval MINUTES

} // namespace sim
