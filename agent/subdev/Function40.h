// Function40.h - reports new devices among those that the local peer sends.
//
// The local peer sends the devices that it sees, again and again. A filter table takes each device once, and the next
// cycle (every ten seconds) reports it. The table is emptied every Fn40Interval cycles: then devices are reported
// again. Until a local peer has connected, Function39.h reports from the router's own list.
//
// State:    the filter table, guarded by fn40Lock, which the report thread holds while it sends the reports of a cycle;
//           nothing is saved.
// Threads:  Fn40Init() and Fn40Stop() on the main thread; Fn40Handle() and Fn40Recv() on the local handler thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <pthread.h>

constexpr size_t kMaxFn40Devices = 128; // entries of the table, and records of one message
constexpr size_t kFn40RecordSize = 39;  // MAC (6), data (32), online flag (1)

extern pthread_mutex_t fn40Lock;

// Empties the table and starts the report thread, which waits for CommClientReg. Returns 0; -1 when the thread cannot
// be started: the next call then leaves the table as it is.
[[nodiscard]] int Fn40Init();

// Ends the report thread in any wait and joins it. Does nothing if no thread runs.
void Fn40Stop();

// Takes a message of the local peer, `length` bytes: a 16-bit count (little-endian, 1 to 128), then that many records.
// A message with another count, or not 39 to 5128 bytes long, is dropped with a log line. An incomplete record ends the
// message.
void Fn40Handle(const uint8_t *data, size_t length);

// Enters the device of one record (kFn40RecordSize bytes; the online flag is ignored). Returns -1 when its MAC is all
// zeros or all ones; 0 otherwise, also when the table has the device already or is full.
int Fn40Recv(const uint8_t *record);

// The work of the report thread every ten seconds: reports the new devices and empties the table when it is time.
void Fn40Cycle();

// Returns whether the table has the device of `mac` (6 bytes), reported or not.
[[nodiscard]] bool Fn40Knows(const uint8_t *mac);
