// Process.h - runs another program: no shell, a list of arguments, a time limit.
// Threads:  any; nothing is remembered.
#pragma once

#include <cstddef>
#include <cstdint>
#include <sys/types.h>

struct ProcessRun {
    const char *const *arguments; // the first is the program, a full path or a name to be found; null ends the list
    const char *input;            // what it reads from standard input
    size_t inputLength;
    char *output; // room for what it writes to standard output and standard error, terminated; null: not wanted
    size_t outputSize;
    int64_t limitMs;                // after which it is killed, with its process group
    void (*started)(pid_t process); // called as soon as its number is known; may be null
};

// Runs a program and waits for its end. It starts with default signals, none blocked, in a process group of its own, with
// no descriptors but the standard ones, and finds programs in the system's own folders only. Returns its exit status; 128
// and the signal's number if a signal ended it; -1 with errno if it could not be started or took too long (ETIMEDOUT).
int RunProcess(const ProcessRun *run);
