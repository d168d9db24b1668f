// PlugUpdate.h - the agent's own update: fetch the new agent, verify it, report, make way for it.
//
// The new agent comes into kPathPlugDownload, a file of our own making that nobody else can write. Status 004 follows
// when its digest has been verified, so a supervisor goes by the status: without it the file is one that is coming, or
// what a failed download has brought, which is left there for whoever wants to look into it. A file whose digest is
// another one, as one that the disk could not take whole, is removed.
//
// An update outlasts its session: as long as its server sends, it goes on to its report (which nobody gets then), its
// status and the end of the process.
//
// State:    the file, and what PlugParameters.h says about it. Threads: the response thread.
#pragma once

#include <cstddef>
#include <cstdint>

constexpr size_t kMd5TextSize = 33; // 32 hexadecimal digits and a terminator

// The update that PLUG_UPDATE has brought. `parsed`: whether it was a whole one.
// A success is reported, and 3 s later the process ends with status 255; the supervisor starts the new agent. Otherwise
// reports the failure, writes status 104 and returns 0: the agent goes on.
int PlugUpdate(bool parsed);

// The MD5 digest (RFC 1321) of a file as 32 lower-case hexadecimal digits and a terminator. Returns 0; -1 when the
// file is not ours (OsFile.h) or cannot be read, and then `out` is left as it was.
int Compute_file_md5(const char *path, char out[kMd5TextSize]);

// Removes kPathPlugDownload by a shell command. Returns its result.
int DeleteDownloadFile();

// Downloads and compares with `expected`; on a match the file and status 004 stand, otherwise the file is removed.
// Returns the error of the download or else the result of Compute_file_md5(): 0 also when the digests differ. Nothing
// is reported. For callers of the module; the agent has none.
uint32_t DownLoadProc(const char *expected, const char *server, int port, const char *path);
