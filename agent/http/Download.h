// Download.h - fetching one file over HTTP: into a local file, or only to measure the rate.
//
// State:    gDownRate. Both downloads use the one instance of HttpSocket.h; the second caller is refused while one
//           runs.
// Threads:  any. Both block until the body is complete, even for ever. HttpLetGo() makes them fail at once, except in a
//           name look-up. So does the end of the platform session, except for a download into a file whose server
//           goes on sending: that one fails when the server has been silent for 10 s.
#pragma once

#include "os/OsAtomic.h"

constexpr int kDownloadMin = 1025; // bytes; a shorter announced length is taken for an error page

extern OsAtomic<int> gDownRate; // of the last rate test, bytes per second; -1 while unknown or failed

// Downloads `path` from `host`:`port` into the file `localName`, which is made anew (OsOpenForWriting()) once it is
// this caller's turn, and before anything is sent to the server. After a failure the file keeps what has arrived.
// Returns 0, also when not all of the body could be written: callers compare a digest. -1 with a log line otherwise.
// A connection that ends before the announced length does not end the download: it waits for the session to end.
[[nodiscard]] int DownLoadFIle(const char *host, int port, const char *path, const char *localName);

// Downloads `path` from `host`:`port`, keeps nothing of it, and stores the rate in gDownRate: bytes by whole seconds, a
// download within one second counting as one second. The fourth argument is ignored. Returns 0 or -1.
[[nodiscard]] int DownTestRateFIle(const char *host, int port, const char *path, const char *localName);

// What a response header (terminated text) says about the length of the body. Returns it, or -1 with a log line of
// `function` when none is announced, when the line has 64 characters or more, when the number is negative or past 31
// bits, or when it is less than kDownloadMin.
[[nodiscard]] int AnnouncedLength(const char *header, const char *function);
