// Subdev.h - the worker that scans the attached devices on the platform's request.
//
// A scan takes the router's own list, adds devices that only the ARP table of the LAN knows (as offline), reads what
// each has sent and received, and reports it all in one frame (SubdevReport.h). Between its steps it pauses for 20 ms,
// behind a report for 3 or 4 seconds; requests that come until then are taken for answered.
//
// State:    SubdevRun and nQuerySubdev below; the devices of the last scan and the LAN's segment, which only the worker
//           uses.
// Threads:  StartSubdev() and SubdevStop() on the main thread; RequestSubdev() on any.
#pragma once

#include <atomic>
#include <cstddef>

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
