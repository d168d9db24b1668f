// FuzzOs.h - the outside world of the fuzz targets: no files, threads or time unless a target sets them.
//
// State:    FuzzOsReset() restores the initial state, so that every input runs in the same world.
// Threads:  one. Without onWait, a wait without a limit would last for ever, so it is an error (a lost wake-up).
#pragma once

#include <csetjmp>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "FuzzInput.h"

struct FuzzThread {
    void *(*body)(void *);
    void *argument;
};

struct FuzzWorld {
    int64_t nowMs;            // advances with every sleep and every wait that times out
    std::string status;       // content of the status file
    std::string knownDevices; // content of the file of the known devices, once written
    std::string configFile;   // content of any file opened for reading; see configMissing
    bool configMissing;       // opening fails instead
    int allocationsLeft;      // allocations that still succeed; negative: all
    jmp_buf *exitTo;          // where OsExit() goes; null: an exit is an error
    int exitStatus;           // of the last OsExit()
    bool noThreads;           // starting one fails
    bool openFails;           // opening a file for writing fails
    std::string written;      // what was written to any file
    int64_t writesLeft;       // bytes that still fit on the disk; negative: all

    // Called by every wait, which then returns: at its deadline if `nowMs` has reached it. Without it, time goes on to
    // the deadline at once.
    void (*onWait)(int64_t deadlineMs);

    std::vector<std::string> commands; // commands that were run
    std::vector<FuzzThread> threads;   // threads that were started
    bool commandFails;                 // a command cannot be started
    bool closeFails;                   // a command cannot be waited for
    std::string output;                // what is left of the command's output
    int64_t lineMs;                    // before each line of it
};

extern FuzzWorld g_world;

// Time 0, empty files, unlimited memory, no exit expected.
void FuzzOsReset();
