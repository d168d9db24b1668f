// PlugStatus.h - the one-line file that tells the supervisor and other router processes how far the agent is.
// State:    the file. Threads: any.
#pragma once

enum PlugStatus {
    PLUG_CONNECTING = 1,        // a cycle starts; a registration connection is open
    PLUG_REGISTERED = 2,        // the register acknowledgement has been accepted
    PLUG_LOGGED_IN = 3,         // the login acknowledgement has been accepted
    PLUG_UPDATE_FETCHED = 4,    // a downloaded plugin file has the right digest
    PLUG_FORCED_OFF = 5,        // the platform forced a disconnect
    PLUG_REGISTER_FAILED = 101, // registration failed or timed out
    PLUG_START_FAILED = 102,    // registration retries exhausted, or a thread could not start
    PLUG_LINK_LOST = 103,       // the connection was lost or a session ended
    PLUG_UPDATE_REPORTED = 104, // a plugin update step reported its result
};

// Replaces the file's content by the code: three digits and a newline, four bytes in all. Returns 0, or -1 when the
// file cannot be opened. A failed write is logged and counts as done: the status is information for others, never a
// reason to stop.
int LogPlugStatus(int code);

// The same for the last status of a process that is about to end: after it no call of any thread writes anything.
int LogLastPlugStatus(int code);
