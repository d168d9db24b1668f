// Function39.h - reports devices that show up on the router's own list, while no local client does (see Function40.h).
//
// Once a minute the list is read, and each device that is not known (KnownDevices.h) is reported and known from then
// on. Every Fn40Interval cycles of ten seconds the known devices become those of the last list, so that a device that
// has left the router is reported again when it returns. While there is no session nothing is asked or reported.
//
// State:    the device buffer pF39Dev and the known devices, used by the report thread alone once it runs.
// Threads:  Fn39Init() and Fn39Stop() on the main thread.
#pragma once

// Loads the known devices and starts the report thread; does neither when a local client has come already. Returns 0,
// or -1 with a log line when there is no memory or no thread.
int Fn39Init();

// Ends the report thread, whatever it waits for, joins it and frees the buffer. Also right when none was started.
void Fn39Stop();
