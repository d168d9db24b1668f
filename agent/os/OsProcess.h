// OsProcess.h - threads, the end of the process, and what it must leave behind clean.
// State:    os/posix keeps the list of files to remove at the end.
// Threads:  OsThreadStart() and OsExit() from any thread; OsPrepareProcess() once, first thing in main.
#pragma once

#include <pthread.h>

// Starts `body(argument)` on a new joinable thread. Returns 0 or the error number of pthread_create().
// The stack is small (128 KiB): nothing large may live on it.
[[nodiscard]] int OsThreadStart(pthread_t *thread, void *(*body)(void *), void *argument);

// Waits for the end of a thread. Returns 0 or the error number of pthread_join().
int OsThreadJoin(pthread_t thread);

// Ends the process with `status`, after stopping all commands and removing what OsRemoveAtEnd() named.
[[noreturn]] void OsExit(int status);

// Names a file that the end of the process removes, however it ends short of SIGKILL (OsExit, SIGTERM, SIGINT). It is
// the file that stands there now: one that takes its place later is somebody else's and stays. `path` must live as long
// as the process. Returns 0, or -1 when there is no such file or eight are named already.
int OsRemoveAtEnd(const char *path);

// Makes the process a daemon that behaves: descriptors 0 to 2 are open, so that no socket ever gets a number
// that means "closed"; SIGPIPE is ignored; SIGTERM and SIGINT stop all commands and end the process at once with
// status 0; the heap stays small. First thing in main, before anything is allocated.
void OsPrepareProcess();
