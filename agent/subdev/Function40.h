// Function40.h - reports new devices out of what a local client pushes.
//
// The local client names the devices that it sees, again and again. Each is entered in a filter table once and reported
// at the next cycle, every ten seconds; the table is emptied every Fn40Interval cycles, so that devices are reported
// again after a while. As long as no local client has come, Function39.h does the job from the router's own list.
//
// State:    the filter table, guarded by fn40Lock, which the report thread keeps while it sends what a cycle brings;
//           nothing is saved.
// Threads:  Fn40Init() and Fn40Stop() on the main thread; Fn40Handle() and Fn40Recv() on the local command handler's.
#pragma once

#include <cstddef>
#include <cstdint>
#include <pthread.h>

constexpr size_t kFn40Devices = 128;   // entries of the table, and most records of one message
constexpr size_t kFn40RecordSize = 39; // MAC (6), data (32), online flag (1)

extern pthread_mutex_t fn40Lock;

// Empties the table and starts the report thread, which waits for CommClientReg. Returns 0; -1 when there was no
// thread: the next call then tries it again, and leaves the table as it is.
int Fn40Init();

// Ends the report thread, wherever it waits, and joins it. Also right when none was started.
void Fn40Stop();

// Takes a message of the local client: a 16-bit count (1 to 128, little-endian) and as many records; `length` bytes in
// all. A message that counts wrongly or is not 39 to 5128 bytes long is dropped with a log line. Nothing past `length`
// is read: a record that is not there whole ends the walk.
void Fn40Handle(const uint8_t *data, size_t length);

// Enters the device of one record, kFn40RecordSize bytes of which the online flag is not looked at. Returns -1 when its
// MAC is all zeros or all ones; 0 otherwise, also when the table knows the device already or is full.
int Fn40Recv(const uint8_t *record);

// What the report thread does every ten seconds: reports what is new and empties the table when its time has come.
void Fn40Cycle();

// Whether the table has the device of `mac` (6 bytes), reported or not.
bool Fn40Knows(const uint8_t *mac);
