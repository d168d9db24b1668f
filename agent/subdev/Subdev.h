// Subdev.h - the worker that scans the attached devices on the platform's request.
//
// A scan takes the router's own list, adds devices that only the ARP table of the LAN knows (as offline), reads what
// each has sent and received, and reports it all in one frame (SubdevReport.h). Between its steps it pauses for 20 ms,
// behind a report for 3 or 4 seconds; requests that come until then are taken for answered.
//
// State:    SubdevMutex and nQuerySubdev, both below; the devices of the last scan and the LAN's segment, which only
//           the worker uses.
// Threads:  StartSubdev() and SubdevStop() on the main thread; RequestSubdev() on any.
#pragma once

#include <atomic>
#include <cstddef>
#include <pthread.h>

// Serialises all queries and settings of the router's device table, by whatever thread. Held for nothing else: never
// across a send, a pause or another lock but hashTableMutex, the innermost one, which the pass of the access daemon
// takes for single look-ups. It checks for errors, so a thread that locks it twice gets EDEADLK.
extern pthread_mutex_t SubdevMutex;

extern std::atomic<int> SubdevRun;    // the worker runs while it is 1
extern std::atomic<int> nQuerySubdev; // 1 from a request until the rest behind its report is over

constexpr size_t kSegmentSize = 20;

// Starts the worker. Returns 0 or the error number of the thread's creation.
int StartSubdev();

// Ends the worker, whatever it waits for, and joins it. Also right when none was started.
void SubdevStop();

// Asks for a report.
void RequestSubdev();

// Stores the beginning of the dotted address, up to and including its third dot. It is to become part of a shell's
// command: returns false when anything but digits and dots comes first, or twelve characters without three dots;
// `segment` is left alone then.
bool GetInNetSeg(const char *address, char segment[kSegmentSize]);
