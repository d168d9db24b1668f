// OsCommand.h - running commands through the shell.
//
// A command gets a process group of its own, the default signal dispositions and an empty standard input. It inherits
// standard error and, unless its output is read or goes to a descriptor, standard output; nothing else. Its text is not
// checked here: callers build it from numbers and addresses that they have formatted themselves.
//
// State:    an OsCommand belongs to the module that declares it and runs one command at a time. os/posix keeps the
//           process groups of all running commands, so that the end of the process kills them.
// Threads:  one thread runs a command: OsRun(), OsCommandRun(), OsCommandRunInto(), or open, read lines, close. The
//           thread that starts that one calls OsCommandReady(). OsCommandStop() is safe from any thread at any time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <pthread.h>
#include <sys/types.h>

struct OsCommand {
    pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER; // guards the next two
    bool stopped = false;                             // OsCommandStop() came since OsCommandReady()
    pid_t group = 0;                                  // the process group of what is running, 0 when nothing is

    // What follows belongs to the thread that reads the lines, from OsCommandOpen() to OsCommandClose(). All is zero at
    // first: a command of a module then takes no room in the program's file.
    int output = 0;
    size_t taken = 0;
    size_t filled = 0;
    char buffer[512] = {};
};

// Forgets an earlier OsCommandStop(). Call it before starting the thread that runs the command, so that a stop in
// between is not lost.
void OsCommandReady(OsCommand *command);

// Runs `text` and waits for its end. Returns its exit status (128 and the signal's number when a signal ended it), or
// -1 with errno when it could not be started; ECANCELED when OsCommandStop() came first.
int OsCommandRun(OsCommand *command, const char *text);

// The same with the standard output of `text` on `output`, a descriptor that the caller keeps and closes. For a command
// that writes a file: the shell would open the file by its name, and somebody may have put another file there.
int OsCommandRunInto(OsCommand *command, const char *text, int output);

// OsCommandRun() for a command that ends by itself soon, so that nobody needs to stop it.
int OsRun(const char *text);

// Starts `text` with its standard output readable. Returns 0, and OsCommandClose() must follow; -1 with errno
// as above.
[[nodiscard]] int OsCommandOpen(OsCommand *command, const char *text);

// Waits for the next line and stores it with its line feed and a terminator; a line that is longer than `room` - 1
// bytes comes in pieces. Waits until `deadlineMs` at most, a time of OsNowMs() or OS_FOREVER; then an incomplete line
// is stored as it is. Returns the length; 0 at the end of the output, or when nothing has come in time.
[[nodiscard]] size_t OsCommandReadLine(OsCommand *command, char *line, size_t room, int64_t deadlineMs);

// Closes the output, which ends a command that goes on writing, and waits for its end. Returns 0, or -1 with errno
// when it cannot be waited for.
int OsCommandClose(OsCommand *command);

// Kills the running command and everything it has started. A command that has not started yet will not start.
void OsCommandStop(OsCommand *command);

// Kills all commands and lets no other start. For the end of the process; callable from a signal handler.
void OsStopCommands();
