// SubdevMutex.h - the lock of the router's device table.
// State: the lock. Threads: any.
#pragma once

#include <pthread.h>

// Serialises all queries and settings of the router's device table, by whatever thread (DeviceTable.h). Held for nothing
// else: never across a send, a pause or another lock but hashTableMutex, the innermost one, which the pass of the access
// daemon takes for single look-ups. It checks for errors, so a thread that locks it twice gets EDEADLK.
extern pthread_mutex_t SubdevMutex;
