// PlugUpdate.h - the agent's own update: fetch the new agent, verify it, report, make way for it.
//
// The new agent comes into kPathPlugPart, a file of our own making that nobody else can write, and gets its known name,
// kPathPlugDownload, in one step when its digest has been verified and its bytes are on their medium; status 004
// follows. So whoever finds a file of that name in an update finds all of it, wherever the process or the power ended.
// There is one exception, which others know and count on: what a failed download has brought is left there too, for
// whoever wants to look into it. It comes with status 104, never with 004, so a supervisor goes by the status.
//
// State:    the two files, and what PlugParameters.h says about them. Threads: the response thread.
#pragma once

#include <cstddef>
#include <cstdint>

constexpr size_t kMd5TextSize = 33; // 32 hexadecimal digits and a terminator

// The update that PLUG_UPDATE has brought. `parsed`: whether it was a whole one.
// A success is reported, then, 3 s later or when the session ends before, the process ends with status 255; the
// supervisor starts the new agent. Otherwise reports the failure, writes status 104 and returns 0: the agent goes on.
int PlugUpdate(bool parsed);

// The MD5 digest (RFC 1321) of a file as 32 lower-case hexadecimal digits and a terminator. Returns 0; -1 when it is no
// regular file or cannot be read, and then `out` is left as it was.
int Compute_file_md5(const char *path, char out[kMd5TextSize]);

// Removes kPathPlugDownload by a shell command. Returns its result.
int DeleteDownloadFile();

// Downloads and compares with `expected`; on a match the file and status 004 stand as above, otherwise no file stands.
// Returns the error of the download or else the result of Compute_file_md5(): 0 also when the digests differ. Nothing
// is reported. For callers of the module; the agent has none.
uint32_t DownLoadProc(const char *expected, const char *server, int port, const char *path);
