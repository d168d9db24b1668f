// Function39.h - reports new devices on the router's own list, as long as no local peer does it (see Function40.h).
//
// Once a minute it reads the list; each device that is not known (KnownDevices.h) is reported and then known. Every
// Fn40Interval cycles of ten seconds the known devices become those of the last list, so that a device that has left
// the router is reported again when it returns. Without a session it asks for nothing and reports nothing.
//
// State:    the device buffer pF39Dev and the known devices; only the report thread uses them once it runs.
// Threads:  Fn39Init() and Fn39Stop() on the main thread.
#pragma once

// Loads the known devices and starts the report thread, which ends when a local peer connects. Does nothing if one has
// connected already. Returns 0; -1 with a log line when there is no memory or the thread cannot be started.
[[nodiscard]] int Fn39Init();

// Ends the report thread in any wait, joins it and frees the buffer. Does nothing if no thread runs.
void Fn39Stop();
