// FakeOs.h - the outside world as the unit tests see it: a clock that only tests move, threads, memory and waits that
// fail on demand, and paths in a private folder.
//
// Call FakeOsReset() first in every test (the AgentTest fixture does): clock at 0, wall time at kFakeEpoch, nothing
// fails.
#pragma once

#include <cstdint>
#include <ctime>
#include <initializer_list>
#include <string>

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

// While on, a wait with a deadline does not wait: time jumps to its deadline and it ends. For code without a live peer.
void FakeClockAuto(bool on);

// The time between now and the earliest deadline anybody waits for; -1 when nobody does.
int64_t FakeClockNextDeadlineMs();

// Moves the date without moving the clock of intervals.
void FakeClockSetWallTime(time_t when);

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

// ---- Paths ----

// The private folder in which all fixed paths lie; it is there when the test begins and removed at the program's end.
const std::string &FakeFolder();
