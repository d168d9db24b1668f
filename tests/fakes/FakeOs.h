// FakeOs.h - the outside world as the unit tests see it: a clock that only tests move, threads, memory and waits that
// fail on demand, scripted commands, and paths in a private folder.
//
// Call FakeOsReset() first in every test (the AgentTest fixture does): clock at 0, wall time at kFakeEpoch, nothing
// fails.
#pragma once

#include <cstdint>
#include <ctime>
#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

#include "os/OsWait.h"

constexpr time_t kFakeEpoch = 1700000000; // 2023-11-14 22:13:20 UTC

void FakeOsReset();

// ---- Clock ----

// Lets time pass: every wait whose deadline is reached ends. Deadlines are passed in their order, but without waiting
// for what the woken threads do next: advance in steps, with FakeClockAwaitSleepers() between them, where it matters.
void FakeClockAdvanceMs(int64_t milliseconds);

// Blocks until `count` threads sit in a wait with a deadline that has not been reached. Aborts after 20 real seconds.
void FakeClockAwaitSleepers(int count);

// The same, counting waits without a deadline as well.
void FakeClockAwaitWaiters(int count);

// How many threads sit in a wait now, with or without a deadline, and how many waits have begun since the process did:
// a thread that looks around and goes on waiting begins another one.
int FakeClockWaiters();
int FakeClockWaits();

// While on, a wait with a deadline does not wait: time jumps to its deadline and it ends. For code without a live peer.
void FakeClockAuto(bool on);

// What happens each time before time jumps so: another thread's doing, where a test can have no other thread.
void FakeClockBeforeJump(std::function<void()> what);

// The time between now and the earliest deadline anybody waits for; -1 when nobody does.
int64_t FakeClockNextDeadlineMs();

// Moves the date without moving the clock of intervals.
void FakeClockSetWallTime(time_t when);

// The zone of OsLocalTime(), a text as in the variable TZ: "CET-1CEST,M3.5.0,M10.5.0/3". Until then it is UTC.
void FakeTimeZone(const char *zone);

// The next results of OsWaitReadable(), before it looks at real descriptors again.
void FakeReadableResults(std::initializer_list<OsReadable> results);

// The limit that the last OsWaitReadable() was given.
int FakeReadableTimeoutMs();

// ---- Threads, memory ----

// The `nth` (1 = next) start, join or allocation from now fails; with `error` where there is one.
void FakeFailThreadStart(int nth, int error);
void FakeFailThreadJoin(int nth, int error);
void FakeFailAllocation(int nth);

// Blocks of OsAllocate() that have not been freed.
int FakeAllocationsAlive();

// ---- Commands ----

// What a command does. Without a script it succeeds at once and prints nothing.
struct FakeScript {
    std::string output;        // what it prints
    int status = 0;            // its exit status
    bool cannotStart = false;  // starting it fails
    bool closeFails = false;   // closing its output fails
    bool lasts = false;        // having printed, it goes on until it is stopped, killed by "killall -9" or told to end
    std::function<void()> run; // called when it starts
};

// Scripts all commands that begin with this text, from now on. Of several scripts the last one counts.
void FakeCommand(const std::string &beginning, const FakeScript &script);

// Ends every command that lasts, as if it had come to its own end.
void FakeCommandEnd();

// What has been started, in order, whether it could be started or not.
std::vector<std::string> FakeCommands();

int FakeCommandsRunning(); // now
int FakeCommandsAtOnce();  // at most, since the reset

// ---- Paths ----

// The private folder in which all fixed paths lie; it is there when the test begins and removed at the program's end.
const std::string &FakeFolder();
