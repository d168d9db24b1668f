// ParseJson.h - commands of the platform to the agent itself, by data type, with JSON payloads.
// State:    none yet. Threads: the response thread.
#pragma once

#include <cstdint>

// Carries out the command `dataType` with its `payload` text. Returns the code that the acknowledgement carries.
// A data type that stands for no command is ignored with code 0; no command is known yet.
int ParserPlugData(uint8_t dataType, const char *payload);
