// Subdev.h - the worker that scans the attached devices on the platform's request.
//
// A scan takes the router's own list, adds the devices that only the ARP table of the LAN has (as offline), reads how
// much each has sent and received, and reports all in one frame (SubdevReport.h). It pauses for 20 ms between its steps
// and for 3 or 4 seconds after a report; requests that come until then count as answered. A list that cannot be had is
// asked for again every second, after ten tries less and less often, at least once a minute and upon every new request.
//
// State:    SubdevRun and nQuerySubdev below; the devices of the last scan and the LAN's segment, which only the worker
//           uses.
// Threads:  StartSubdev() and SubdevStop() on the main thread; RequestSubdev() on any.
#pragma once

#include <cstddef>

#include "os/OsAtomic.h"

extern OsAtomic<int> SubdevRun;    // the worker runs while it is 1
extern OsAtomic<int> nQuerySubdev; // 1 from a request to the end of the pause after its report

constexpr size_t kSegmentSize = 20;

// Starts the worker. Returns 0; an error number when the thread cannot be started.
[[nodiscard]] int StartSubdev();

// Ends the worker in any wait and joins it. Does nothing if no worker runs.
void SubdevStop();

// Asks for a report.
void RequestSubdev();

// Stores the start of the dotted address, up to its third dot and with it. It becomes part of a shell command: so when
// other characters than digits and dots come first, or the first twelve characters have no third dot, returns false and
// leaves `segment` unchanged.
[[nodiscard]] bool GetInNetSeg(const char *address, char segment[kSegmentSize]);
