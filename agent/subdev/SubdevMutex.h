// SubdevMutex.h - the lock of the router's device table.
// State: the lock. Threads: any.
#pragma once

#include <cstdint>
#include <pthread.h>

// Held for every query and setting of the router's device table, on any thread (DeviceTable.h), and for nothing else:
// never across a send, a pause or another lock, except hashTableMutex, the innermost one, which the pass of the access
// daemon takes for single look-ups. It checks for errors: a thread that locks it twice gets EDEADLK.
extern pthread_mutex_t SubdevMutex;

// Locks it. Returns 0; if it cannot be locked, logs that under the names of the module (LogModule()) and the procedure and returns the error number.
[[nodiscard]] int SubdevMutexLock(uint32_t module, const char *function);
