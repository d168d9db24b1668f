// OsProcess.h - threads, the end of the process, and the files that it removes at its end.
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

// Names a file that is removed when the process ends by OsExit(), SIGTERM or SIGINT. Only the file that is there now is
// removed: one that takes its place later is somebody else's and stays. `path` must live as long as the process.
// Returns 0, or -1 when there is no such file or eight are named already.
int OsRemoveAtEnd(const char *path);

// Prepares the process to run as a daemon. Descriptors 0 to 2 are opened, so that no socket gets the number 0, which
// stands for "closed" here; SIGPIPE is ignored; SIGTERM and SIGINT stop all commands and end the process at once with
// status 0; the heap stays small. First thing in main, before anything is allocated.
void OsPrepareProcess();
