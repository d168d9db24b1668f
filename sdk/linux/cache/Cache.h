// Cache.h - the thread that hears the kernel's news and keeps the tables that the functions answer from.
// State:    the lock of all tables (links, neighbours, leases, radios, devices), the thread.
// Threads:  any.
#pragma once

#include <cstdint>

#include "sdk/linux/access/Enforce.h"
#include "sdk/linux/base/Lock.h"

// The lock of all tables, and of the settings for reading. Nobody waits for anything while holding it.
pthread_mutex_t *CacheLock();

// Starts the library with the first call of a function: configuration, settings, tables, rules, thread. Later calls
// return at once. Never fails: what is missing is in the log, and what needs it answers a code.
void StartRouter();

// Where settings have to be in force now. Takes the cache's lock.
void ReadPlaces(Places *places);

// Says that somebody asks for rates: for half a minute they are measured every two seconds.
void WantRates();
