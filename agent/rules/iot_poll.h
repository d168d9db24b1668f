// iot_poll.h - the threads of the access daemon, and the pass that applies the rules to the devices' internet access.
//
// State:    the run flag, and the result of the daemon's start.
// Threads:  TimeRuleProc() and thread_epoll() are threads that the daemon thread (eaccess.h) starts. pollStart() and
//           pollStarted() are called by the daemon thread, pollPrepare() and pollAwaitStart() by the one that starts
//           the daemon, pollStop() by any.
#pragma once

#include <cstdint>

#include "os/OsAtomic.h"

extern OsAtomic<int> pollRun; // 1 while the daemon runs; only pollStop() clears it, and wakes the rule thread

// Forgets the result of an earlier start. To be called before the daemon thread is created.
void pollPrepare();

// Sets the run flag. To be called before the daemon's threads are started.
void pollStart();

// Stores the result of the start and wakes pollAwaitStart(): 0 if the table is ready and the rule thread runs, else a
// negative number. Returns it.
int pollStarted(int result);

// Waits until pollStarted() has been called since pollPrepare(). Returns its result.
[[nodiscard]] int pollAwaitStart();

// Clears the run flag, wakes the rule thread and waits two seconds, the time it has to end.
void pollStop();

// The rule thread: a pass 30 seconds after its start and after the end of every pass, until the run flag is cleared;
// then it ends at once, without another pass. Returns null.
void *TimeRuleProc(void *);

// One pass over all devices, with the current local time. The access of a device that has rules for the weekday is
// switched off while one of them contains the time, else switched on. Devices that are already in the right state or
// have no rules are not written. Holds SubdevMutex throughout, and hashTableMutex inside it for each look-up.
void surf_rule_func();

// The event-poll thread. `port` points to an int32_t. Ends at once, as there is nothing to poll. Returns null.
void *thread_epoll(void *port);

// Does nothing yet. Returns 0.
int iot_epoll(int32_t port);
