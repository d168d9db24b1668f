// KnownDevices.h - which devices Function 39 has reported already, in memory and in "/tmp/macconfig".
//
// The file has one line for each: twelve lower-case hexadecimal digits, CR LF. It spares the platform a report of every
// device whenever the agent is started again. A file that is not ours is not read. No more than 128 lines of 31
// characters are, and a line that is not a MAC from its first to its last character is no entry.
//
// State:    OnlineMac and f39Num.
// Threads:  Fn39Init() and the thread that it starts.
#pragma once

#include <cstddef>
#include <cstdint>

constexpr int32_t kKnownMost = 128;

extern int32_t f39Num; // entries

// Forgets all.
void KnownClear();

bool KnownHas(const uint8_t *mac);

// Adds a MAC (6 bytes); nothing happens when kKnownMost are there.
void KnownAdd(const uint8_t *mac);

// Adds what the file says. Returns 0, or -1 with an empty list when there is no file of ours.
int Fn39LoadMac();

// Writes the list into the file. Returns 0; -1 when that fails; -2, and does nothing, while not logged in.
int Fn39UpdateMac();
