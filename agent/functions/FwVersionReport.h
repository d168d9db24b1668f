// FwVersionReport.h - tells the platform which firmware the router runs, which agent, and how often it reports.
// State:    none. Threads: the main thread, from the duty loop.
#pragma once

// Sends one JSON object under data type 14: "version" (the router's version text with the eight digits of its date
// behind it), "sdkVersion" (the agent's), "interval1" to "interval3" and "configed".
// Returns 0 when it went to the sender, whose own result is not looked at; -1 when the router did not tell its version
// or there was no memory for the object; -2 when there was none for its text. Nothing is sent then.
int dev_fwversion_report();
