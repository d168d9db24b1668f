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

// Writes the code as three digits and a newline, replacing the file's content. Exactly four bytes are written, so a
// code of four digits would lose its newline; there is none.
// Returns 0, or -1 when the file cannot be opened. A write that fails is logged and counts as done: the stage of the
// file is advice, never a reason to stop.
int LogPlugStatus(int code);

// The same for a process that is about to end: what any thread has to say after that is not written any more.
int LogLastPlugStatus(int code);
