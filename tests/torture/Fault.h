// Fault.h - which call goes wrong (see Fault.c).
// State: set up when the library is loaded. Threads: any; nothing here allocates memory or takes a lock.
#pragma once

#include <stdbool.h>
#include <stddef.h>
#include <sys/types.h>

#include "FaultPage.h"

// What is to become of a call.
enum FaultDecision { FAULT_NONE, FAULT_FAIL, FAULT_INTERRUPT, FAULT_AGAIN, FAULT_SHORT };

// Counts a call of `kind` by whoever `caller` returns to, and decides. `name` is the call's, for the driver.
int FaultDecide(int kind, const char *name, const void *caller);

// Counts blocks of the heap.
void FaultBlocks(int more);

// The next library's procedure of that name. It is there, or the process ends.
void *FaultReal(const char *name);
