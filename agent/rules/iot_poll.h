// iot_poll.h - the threads of the access daemon, and the pass that makes the devices' internet access follow the rules.
//
// State:    the run flag, and what became of the daemon's start.
// Threads:  TimeRuleProc() and thread_epoll() are threads of their own, which the daemon thread makes (eaccess.h);
//           pollStart() and pollStarted() belong to it; the rest to whoever starts and stops it. pollStop() is safe
//           from any thread.
#pragma once

#include <atomic>
#include <cstdint>

extern std::atomic<int> pollRun; // 1 while the daemon runs; cleared by pollStop() alone, which also wakes

// Before the daemon thread is made: nothing has become of its start yet.
void pollPrepare();

// Sets the run flag: the daemon begins. Before its threads start.
void pollStart();

// What became of the start: 0 when the table is ready and the rule thread there, else a negative number. Returns it.
int pollStarted(int result);

// Waits for pollStarted() since pollPrepare() and returns its result.
int pollAwaitStart();

// Clears the run flag, wakes the rule thread and gives it its two seconds.
void pollStop();

// The rule thread: a pass every 30 seconds, counted from the end of the one before (the first 30 s after the start),
// until the run flag is cleared, which it notices at once and without another pass. Returns null.
void *TimeRuleProc(void *);

// One pass over the devices, at the present local time. A device that has rules for the weekday is switched off while
// one of them contains the time, and on otherwise; one that is as it should be is not written, and one without rules is
// left alone. Holds SubdevMutex throughout, and inside it hashTableMutex for each look-up.
void surf_rule_func();

// The event-poll thread. `port` points to an int32_t. Ends at once, as there is nothing that it polls. Returns null.
void *thread_epoll(void *port);

// Does nothing yet. Returns 0.
int iot_epoll(int32_t port);
