// PlugUpdate.h - the agent's own update: downloads the new agent, verifies it, reports, and ends the process.
//
// The new agent is stored in kPathPlugDownload, a file that we create and nobody else can write. Status 004 is written
// once its digest is verified; a supervisor must wait for that status. Before it, the file is still being downloaded,
// or it is the rest of a failed download, which is kept for inspection. A file with a wrong digest is removed, also one
// that is incomplete because the disk is full.
//
// An update does not end with its session: as long as its server sends, it goes on to its report (which then reaches
// nobody), its status and the end of the process.
//
// State:    the file, and the update's values in PlugParameters.h. Threads: the response thread.
#pragma once

#include <cstddef>
#include <cstdint>

constexpr size_t kMd5TextSize = 33; // 32 hexadecimal digits and a terminator

// Carries out PLUG_UPDATE with the values in PlugParameters.h. `parsed`: whether ParserPlug() could read them all.
// Reports a success, and 3 s later ends the process with status 255; the supervisor starts the new agent. Otherwise
// reports the failure, writes status 104 and returns 0: the agent goes on.
[[nodiscard]] int PlugUpdate(bool parsed);

// The MD5 digest (RFC 1321) of a file as 32 lower-case hexadecimal digits and a terminator. Returns 0; -1 if the
// file is not ours (OsFile.h) or cannot be read; `out` is unchanged then.
[[nodiscard]] int Compute_file_md5(const char *path, char out[kMd5TextSize]);

// Removes kPathPlugDownload by a shell command. Returns the result of OsRun(), or -1 if the path is too long.
int DeleteDownloadFile();

// Downloads the file and compares its digest with the text `expected`. If they are equal, the file is kept and status
// 004 written, else the file is removed. Returns the error of the download, else the result of Compute_file_md5(),
// which is 0 also if the digests differ. Reports nothing. Not called in the agent.
[[nodiscard]] uint32_t DownLoadProc(const char *expected, const char *server, int port, const char *path);
