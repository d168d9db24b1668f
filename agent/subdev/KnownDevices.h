// KnownDevices.h - the devices that Function 39 has reported already, in memory and in "/tmp/macconfig".
//
// The file has one line for each device: twelve lower-case hexadecimal digits, CR LF. With it, a restart of the agent
// does not report every device again. The agent reads only a file of its own, at most 128 lines of 31 characters, and
// ignores a line that is anything but a MAC.
//
// State:    OnlineMac and f39Num.
// Threads:  those of Fn39Init() and of the thread that it starts.
#pragma once

#include <cstddef>
#include <cstdint>

constexpr int32_t kMaxKnown = 128; // devices

extern int32_t f39Num; // number of devices

// Forgets all devices.
void KnownClear();

// Returns whether the list has `mac` (6 bytes).
[[nodiscard]] bool KnownHas(const uint8_t *mac);

// Adds `mac` (6 bytes), unless the list has kMaxKnown devices.
void KnownAdd(const uint8_t *mac);

// Adds the devices of the file. Returns 0; -1 with an empty list when there is no file of ours.
int Fn39LoadMac();

// Writes the list to the file. Returns 0; -1 when that fails; -2 without writing while the agent is not logged in.
int Fn39UpdateMac();
