// Flags.h - how threads wait for flags and settings that other threads set.
//
// State:    the waiter below.
// Threads:  any.
#pragma once

#include "os/OsWait.h"

// Guards the changes of every flag and setting that a thread waits for, and is woken after each: so a thread can wait for
// several of them, whichever modules they belong to. Nothing else is locked while it is held.
extern OsWaiter gFlags;
