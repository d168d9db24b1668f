// Cache.h - the thread that hears the kernel's news and keeps the tables that the functions answer from.
// State:    the lock of the tables of the kernel's news (links, addresses, routes, neighbours, radios), the thread.
// Threads:  any.
#pragma once

#include <cstdint>

#include "sdk/linux/access/Enforce.h"
#include "sdk/linux/base/Lock.h"

// The lock of the tables of news. Nobody waits for anything while holding it, but the thread works through many messages
// at once; so what has to be quick has a lock of its own, see cache/Devices.h.
pthread_mutex_t *CacheLock();

// Starts the library with the first call of a function: configuration, settings, tables, rules, thread. Later calls
// return at once. Never fails: what is missing is in the log, and what needs it answers a code.
void StartRouter();

// Where settings have to be in force now. Takes the cache's lock.
void ReadPlaces(Places *places);

// Says that somebody asks for rates: for half a minute they are measured every two seconds.
void WantRates();
