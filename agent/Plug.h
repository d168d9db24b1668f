// Plug.h - the life of the process: start-up, then the cycle of register, log in, run and tear down.
// State:    the duty counter and the retry counter, both for the life of the process; the session context.
// Threads:  the main thread only.
#pragma once

#include <cstdint>

// Reads options, log level and settings and starts the long-lived services, in a fixed order. Ends the process on a bad
// option, or when the local server or the device worker cannot start. Wrong settings do not end it: the registration
// fails with them. When the access daemon, Function 39 or Function 40 could not start, every cycle tries again.
void PlugStart(int argc, char *argv[]);

// Ties the modules together that do not know each other: frames from the platform go to CBHandle(), devices that the
// local peer reports to Fn40Handle(), and HTTP transfers follow the platform session. PlugStart() does it; calling it
// again changes nothing.
void PlugConnectModules();

// One turn of the cycle: one attempt to register, and when that succeeds one whole session. Ends the process after
// the twelfth failed attempt in a row and, at a session's end, after a week.
void PlugCycle();

// For tests: reads and sets the duty counter; sets both counters to 0.
uint32_t PlugDutyCounter();
void PlugSetDutyCounter(uint32_t ticks);
void PlugResetCounters();
