// Faults.h - calls that fail or take long on demand (environment ROUTER_SIM_FAULTS).
//
//   faults  = entry *( "," entry )
//   entry   = name [ "=" result ] *( ":" option )       name: a function of RouterSdk.h, or "*" for all of them
//   option  = "delay=" milliseconds | "first=" n | "after=" n | "every=" n
//
// An entry counts the calls it names. It acts on each of them, or with first=N on the first N only, with after=N on
// those behind the first N, with every=N on each Nth of those that are left. Several options all have to agree.
//
// State:    the entries and how many calls each of them has seen.
// Threads:  whoever holds the lock of Call.cpp.
#pragma once

#include <cstdint>

struct Fault {
    bool answers;     // the call does not reach the household and returns `result`
    int64_t result;   // of the first entry that acts and has one
    uint32_t delayMs; // of all entries that act, together; at most ten minutes
};

// Reads the entries in the place of all former ones; null or an empty text for none. A bad entry is reported on stderr
// and left out.
void LoadFaults(const char *text);

// Counts one call of a function and returns what happens to it.
[[nodiscard]] Fault CountCall(const char *function);
