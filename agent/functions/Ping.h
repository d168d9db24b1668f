// Ping.h - functions 8 and 9: one ping at a time. A thread of its own runs the system's command.
//
// State:    the variables below. idle -> started (gPingThreadState 1, gPingState 1, pingRes 1) -> finished
//           (gPingThreadState 0, gPingState 0, pingRes still 1) -> joined by the result command, or by the next start
//           (pingRes 0).
// Threads:  PingStart() and PingResult() on the response thread; StopPing() on the thread that ends the
//           diagnostics, never at the same time as those two. gPingResult and gPingLen belong to the ping thread while
//           gPingState is 1.
#pragma once

#include <cstdint>
#include <pthread.h>

#include "core/Wire.h"
#include "os/OsAtomic.h"

constexpr int kPingResultSize = 4000;

extern OsAtomic<int8_t> gPingThreadState; // 1 from the start command until the thread has finished
extern OsAtomic<uint16_t> gPingState;     // 1 from the start command on, 0 once gPingResult is complete; stays 1 if the
                                          // command could not be started
extern char gPingResult[kPingResultSize]; // the output of the last ping, without the lines of single replies
extern int16_t gPingLen;                  // bytes in it
extern OsAtomic<int> pingRes;             // 1 while there is a thread to join
extern pthread_t pingThreadId;

// Function 8. Parameters: target [0-3] (its octets in reverse order), payload size [20-21], count [22-23], both 16-bit
// little-endian. Returns 0; 1 while a ping is in progress; the error number if the thread could not be started (the
// last result is kept then).
int PingStart(WireReader *parameters, WireWriter *reply);

// Function 9. Returns gPingState. If that is 0, the reply is the text's length (16-bit) and the text. Then joins a
// thread that was started, so this waits while the ping runs. The end of the platform session ends the wait but not the
// ping: its whole result can be fetched in the next session.
int PingResult(WireReader *parameters, WireWriter *reply);

// The thread; `request` are the parameters of PingStart(), 24 bytes.
void *PingThread(void *request);

// Runs "ping -s size -c count host" and collects its output in gPingResult and gPingLen: all lines except those that
// contain "ttl" or "TTL", one every 50 ms, up to the first line that does not fit whole into 3999 bytes. A count above
// 50 becomes 50. Without a count (0 or less) some programs never end, so such a ping is killed after 500 s. `host` is a
// dotted address. Returns 0; -1 if the command could not be started; -2 if closing it failed (the text is valid then,
// too).
int PopenParsePing(int size, int count, const char *host);

// Kills the ping if one was started, and joins its thread.
void StopPing();
