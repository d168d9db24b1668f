// FwVersionReport.h - tells the platform the versions of firmware and agent, and the report intervals.
// State:    none. Threads: the main thread, from the duty loop.
#pragma once

// Sends one JSON object under data type 14: "version" (the router's version text followed by the eight digits of its
// date), "sdkVersion" (the agent's version), "interval1" to "interval3" and "configed".
// Returns 0 when it was handed to the sender, whose result is ignored. Returns -1 if the router did not give its
// version or there is no memory for the object, -2 if there is no memory for its text; nothing is sent then.
int dev_fwversion_report();
