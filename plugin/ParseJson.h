// ParseJson.h - commands of the platform to the agent itself, by data type, with JSON payloads.
// State:    none yet. Threads: the response thread.
#pragma once

#include <cstdint>

// Data types that stand for a command.
enum PlugDataType : uint8_t {
    PLUG_ROUTE_SET = 9, // add or delete a port forwarding (rules/PortForward.h)
};

// Carries out the command `dataType` with its `payload`, a text or null. Returns the code that the acknowledgement
// carries: that of ParseRouteParam() for PLUG_ROUTE_SET. Every other data type is ignored with code 0.
int ParserPlugData(uint8_t dataType, const char *payload);
