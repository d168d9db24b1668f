// OsCommand.h - running commands through the shell.
//
// A command gets a process group of its own, the default signal dispositions and an empty standard input; it inherits
// standard output and standard error (unless its output is read or goes to a descriptor), and nothing else. Whoever
// hands a text over has built it from numbers and addresses that it formatted itself: nothing is checked here.
//
// State:    an OsCommand belongs to the module that declares it and is for one command at a time. os/posix keeps the
//           process groups of what is running, so that the end of the process ends them.
// Threads:  one thread runs a command: OsRun(), OsCommandRun(), OsCommandRunInto(), or open, read lines, close.
//           OsCommandReady() belongs to whoever starts that thread. OsCommandStop() is safe from any thread at any
//           time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <pthread.h>
#include <sys/types.h>

struct OsCommand {
    pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER; // guards the next two
    bool stopped = false;                             // OsCommandStop() came since OsCommandReady()
    pid_t group = 0;                                  // the process group of what is running, 0 when nothing is

    int output = -1; // what follows belongs to the thread that reads the lines
    size_t taken = 0;
    size_t filled = 0;
    char buffer[512] = {};
};

// Forgets an earlier OsCommandStop(). Call it before the thread is started that runs the command: a stop that comes
// between the two is then not lost.
void OsCommandReady(OsCommand *command);

// Runs `text` and waits for its end. Returns its exit status (128 and the signal's number when a signal ended it), or
// -1 with errno when it could not be started; ECANCELED when it was stopped before.
int OsCommandRun(OsCommand *command, const char *text);

// The same with the standard output of `text` on `output`, a descriptor that the caller keeps and closes. For a command
// whose output goes into a file: the shell would open it by a name, behind which somebody may have put another file.
int OsCommandRunInto(OsCommand *command, const char *text, int output);

// OsCommandRun() for a command that nobody needs to stop because it ends by itself.
int OsRun(const char *text);

// Starts `text` with its standard output readable. Returns 0, and OsCommandClose() must follow; -1 with errno
// as above.
[[nodiscard]] int OsCommandOpen(OsCommand *command, const char *text);

// Waits for the next line and stores it with its line feed and a terminator; a line that is longer than `room` - 1
// bytes comes in pieces. Waits until `deadlineMs` at most, a time of OsNowMs() or OS_FOREVER; then an incomplete line
// is stored as it is. Returns the length; 0 at the end of the output, or when nothing has come in time.
[[nodiscard]] size_t OsCommandReadLine(OsCommand *command, char *line, size_t room, int64_t deadlineMs);

// Closes the output, which ends a command that goes on writing, and waits for its end. Returns 0, or -1 with errno
// when the end cannot be learnt.
int OsCommandClose(OsCommand *command);

// Kills what is running and everything it has started; what has not been started yet will not be.
void OsCommandStop(OsCommand *command);

// Kills every command and lets none start any more. For the end of the process; callable from a signal handler.
void OsStopCommands();
