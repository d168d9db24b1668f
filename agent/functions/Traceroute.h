// Traceroute.h - functions 51 and 52: one traceroute at a time. A thread of its own runs the system's command, a second
// one (the watcher) ends it after 500 seconds. The output goes into the file kPathTraceroute.
//
// State:    the variables below. idle -> started (gTraceThreadState 1, traceRes 1, killRun 1) -> command ended
//           (gTraceThreadState 0) -> joined by the result command, which ends it if necessary, or by the next start
//           (traceRes 0, killRun 0).
// Threads:  TracerouteStart() and TracerouteResult() on the response thread; StopTraceroute() on the thread that ends
//           the diagnostics, never at the same time as those two. gTracertResult belongs to the response thread.
#pragma once

#include <cstdint>
#include <pthread.h>

#include "core/Wire.h"
#include "os/OsAtomic.h"

constexpr int kTracertResultSize = 4000;

extern OsAtomic<int8_t> gTraceThreadState; // 1 from the start command until the command has ended
extern OsAtomic<int> traceRes;             // 1 while there is a thread to join
extern pthread_t traceThreadId;
extern OsAtomic<int> killRun; // 1 while the watcher has to run, and until it has been joined
extern pthread_t killTraceId;
extern char gTracertResult[kTracertResultSize]; // the file's content at the last result command
extern uint16_t gTracertLen;                    // bytes in it

// Function 51. Parameters: target [0-3], its octets in reverse order. Returns 0; 1 while a traceroute is in progress;
// the error number if its thread could not be started (then nothing runs). A traceroute whose watcher could not be
// started runs until it ends or its result is fetched.
int TracerouteStart(WireReader *parameters, WireWriter *reply);

// Function 52. Ends a traceroute that was started, even if it still runs, and joins its threads. The reply is the
// length (16-bit) of the file's content, cut at 3999 bytes, and those bytes. Returns 0, or 1 if the file does not exist
// or is not ours (OsFile.h).
int TracerouteResult(WireReader *parameters, WireWriter *reply);

// The thread; `request` are the parameters of TracerouteStart(), 4 bytes.
void *TracerouteThread(void *request);

// The watcher: kills the traceroute if killRun is still 1 after 500 seconds. Ends at once when killRun is cleared.
void *KillTrace500s(void *);

// Kills the traceroute if one was started, and joins both threads.
void StopTraceroute();
