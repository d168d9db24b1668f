// ComRequests.h - what the agent asks of the router's management process.
// State:    none yet. Threads: the main thread, from the duty loop.
#pragma once

// While no peer is connected every request fails at once; and none can connect yet.

// Tells the peer whether the agent is online. Returns 0 when it was sent, 1 otherwise.
int ComF_send_pluginstate();

// Asks the peer for the auto-report configuration. Returns the peer's status, or 1 when it did not answer.
int ComF_get_autoreport_conf();

// Has the peer's report times calibrated; without a peer nothing happens.
void ComF_send_calibration();
