// OsProcess.h - threads, the end of the process, and the file that it removes at its end.
// State:    os/posix keeps the name of the file to remove at the end.
// Threads:  OsThreadStart() and OsExit() from any thread; OsRemoveAtEnd() from one; OsPrepareProcess() once, first thing
//           in main.
#pragma once

#include <pthread.h>

#include "os/OsFile.h"

// Starts `body(argument)` on a new joinable thread. Returns 0 or the error number of pthread_create().
// The stack is small (128 KiB): nothing large may live on it.
[[nodiscard]] int OsThreadStart(pthread_t *thread, void *(*body)(void *), void *argument);

// Waits for the end of a thread. Returns 0 or the error number of pthread_join().
int OsThreadJoin(pthread_t thread);

// Ends the process with `status`, after stopping all commands and removing the file that OsRemoveAtEnd() named.
[[noreturn]] void OsExit(int status);

// Names the file that is removed when the process ends by OsExit(), SIGTERM or SIGINT; the one named before is not any
// more. Only `file` is removed: what takes its place later is somebody else's and stays. `path` must live as long as the
// process.
void OsRemoveAtEnd(const char *path, const OsFileId &file);

// Prepares the process to run as a daemon. Descriptors 0 to 2 are opened, so that no socket gets the number 0, which
// stands for "closed" here; SIGPIPE is ignored; SIGTERM and SIGINT stop all commands and end the process at once with
// status 0; the heap stays small. First thing in main, before anything is allocated.
void OsPrepareProcess();
