// Cache.h - the thread that hears the kernel's news and keeps the tables that the functions answer from.
// State:    the lock of the tables of the kernel's news (links, addresses, routes, neighbours, radios), the thread.
// Threads:  any.
#pragma once

#include <cstdint>

#include "sdk/linux/base/Lock.h"

// The lock of the tables of news. The thread holds it while it works through many messages, and while it reads whole
// tables of the kernel's anew, so that nobody sees half of one: milliseconds. What has to be quicker has a lock of its
// own, see cache/Devices.h.
pthread_mutex_t *CacheLock();

// Starts the library with the first call of a function: configuration, settings, tables, rules, thread. Later calls
// return at once. Never fails: what is missing is in the log, and what needs it answers a code.
void StartRouter();

// Says that somebody asks for rates: for half a minute they are measured every two seconds.
void WantRates();
