// ParseJson.h - commands of the platform to the agent itself, by data type, with JSON payloads.
// State:    the received values are in PlugParameters.h. Threads: the response thread.
#pragma once

#include "plugin/PlugDataType.h"
#include <cstdint>

// Carries out the command `dataType` with its `payload`, a text or null. Returns the code that the acknowledgement
// carries: for PLUG_UPDATE_CMD and PLUG_UPDATE always 0; for PLUG_FIRMWARE_CHECK the code of the answer, or -1 if the
// payload is no JSON; for PLUG_FIRMWARE_UPDATE 0 or -1; for PLUG_ROUTE_SET the result of ParseRouteParam(); for the
// others that of ParserPlug(). Any other data type is ignored and returns 0. A successful PLUG_UPDATE ends the process.
int ParserPlugData(uint8_t dataType, const char *payload);

// Reads the members that `dataType` requires, in order, into PlugParameters.h; that of PLUG_FN40_INTERVAL goes to
// platform/Settings.h. Members before a missing one are stored, members after it keep their old values.
//
// A member may have any type: if it is no text, its text is empty; if it is no number, its number is 0 (but true is 1).
// A number is rounded towards 0 to 32 bits and cut to the low bytes of its field; a text that is too long is cut; a MAC
// is read by MacScan() without separator. Only two members are checked: an update's URL (form, and the lengths of the
// whole, the host and the port), and the interval of the device reports (0 to 19).
//
// Returns 0; -1 if the payload is null or no JSON (core/JsonParse.h), or if a member is missing or refused. For a
// missing member of PLUG_FIRMWARE_CHECK and PLUG_FIRMWARE_UPDATE it returns that member's code instead.
[[nodiscard]] int ParserPlug(uint8_t dataType, const char *payload);
