// Subdev.h - the worker that scans the attached devices on the platform's request.
//
// State:    SubdevMutex and nQuerySubdev, both below.
// Threads:  StartSubdev() once, from start-up.
#pragma once

#include <atomic>
#include <pthread.h>

// Serialises all queries and settings of the router's device table, by whatever thread. Held for nothing else: never
// across a send, a pause or another lock but hashTableMutex, the innermost one, which the pass of the access daemon
// takes for single look-ups. It checks for errors, so a thread that locks it twice gets EDEADLK.
extern pthread_mutex_t SubdevMutex;

// 1 asks for a report of the attached devices. No worker looks at it yet.
extern std::atomic<int> nQuerySubdev;

// Starts the worker. Returns 0, anything else when it could not start. No request reaches it yet, so no thread is
// made and the result is always 0.
int StartSubdev();
