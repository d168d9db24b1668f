// ParseJson.h - commands of the platform to the agent itself, by data type, with JSON payloads.
// State:    what they bring is kept in PlugParameters.h. Threads: the response thread.
#pragma once

#include "plugin/PlugDataType.h"
#include <cstdint>

// Carries out the command `dataType` with its `payload`, a text or null. Returns the code that the acknowledgement
// carries: 0 for PLUG_UPDATE_CMD and PLUG_UPDATE whatever came of them, the answer's code (-1 for an unknown one) for
// PLUG_FIRMWARE_CHECK, 0 or -1 for PLUG_FIRMWARE_UPDATE, that of ParseRouteParam() for PLUG_ROUTE_SET and that of
// ParserPlug() for the others. What is no command is ignored with code 0. PLUG_UPDATE ends the process when it
// succeeds.
int ParserPlugData(uint8_t dataType, const char *payload);

// Reads the members that `dataType` requires, one after the other, into PlugParameters.h; PLUG_FN40_INTERVAL goes to
// platform/Settings.h. What stands before a missing one has been stored, what stands behind it keeps its old value.
//
// A member that is there is taken whatever it is: what is no text is an empty one, what is no number is 0 (but true
// is 1). A number is the nearest whole one of 32 bits towards 0, cut to the low bytes of its field; a text is what fits
// of it; a MAC is two digits a byte as far as they go, then zeros. An update's URL alone has to be one, with a host, a
// port and a length within their limits, and the period of the device reports 0 to 19.
//
// Returns 0; -1 when the payload is null, no JSON (core/JsonParse.h), or a member is missing or refused; for
// PLUG_FIRMWARE_CHECK and PLUG_FIRMWARE_UPDATE the code of the missing member in place of that.
int ParserPlug(uint8_t dataType, const char *payload);
