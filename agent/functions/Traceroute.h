// Traceroute.h - functions 51 and 52: one traceroute at a time, run by the system's own command in a thread of its own,
// with a second thread that ends it after 500 seconds. Its output goes into the file kPathTraceroute.
//
// State:    below. idle -> started (gTraceThreadState 1, traceRes 1, killRun 1) -> command ended (gTraceThreadState 0)
//           -> joined by the result command, which ends it where necessary, or by the next start (traceRes 0, killRun
//           0).
// Threads:  TracerouteStart() and TracerouteResult() on the response thread; StopTraceroute() on whichever thread ends
//           the diagnostics, never beside those two. gTracertResult belongs to the response thread.
#pragma once

#include <atomic>
#include <cstdint>
#include <pthread.h>

#include "core/Wire.h"

constexpr int kTracertResultSize = 4000;

extern std::atomic<int8_t> gTraceThreadState; // 1 from the start command until the command has ended
extern std::atomic<int> traceRes;             // 1 while there is a thread to join
extern pthread_t traceThreadId;
extern std::atomic<int> killRun; // 1 while the watcher is to go on, and until it has been joined
extern pthread_t killTraceId;
extern char gTracertResult[kTracertResultSize]; // what the file held at the last result command
extern uint16_t gTracertLen;                    // bytes in it

// Function 51. Parameters: target [0-3], its octets in reverse order. Returns 0; 1 while a traceroute is in progress;
// the error number when its thread could not be started, and then nothing is. One whose watcher could not be started
// runs all the same, until it ends or its result is asked for.
int TracerouteStart(WireReader *parameters, WireWriter *reply);

// Function 52. A traceroute that was started is ended, whether it is through or not, and joined. Then the reply is the
// length (16-bit) of what the file holds, at most 3999 bytes, and those bytes. Returns 0, or 1 when there is no file
// of ours.
int TracerouteResult(WireReader *parameters, WireWriter *reply);

// The thread; `request` are the parameters of TracerouteStart(), 4 bytes.
void *TracerouteThread(void *request);

// The watcher: kills the traceroute when killRun is still 1 after 500 seconds. Ends at once when killRun is cleared.
void *KillTrace500s(void *);

// Kills the traceroute if one was started, and joins both threads.
void StopTraceroute();
