// Limits.h - the scripts for tc that limit what devices send (on the WANs) and receive (on the LAN's interface).
// State:    none. Nothing here runs anything.
//
// An interface with limits has an HTB qdisc of our handle as its root, with one class for each limited device; packets
// find theirs by the priority that the rules give them (access/Rules.h). All others pass it unlimited. An interface
// without limits keeps the qdisc that it had.
#pragma once

#include <cstddef>
#include <cstdint>

#include "sdk/linux/settings/State.h"

// A limit is of IP packets with their headers, as they are counted (traffic/Counters.h).
// Limits outside of these two are shaped as the nearer one: below, the kernel's figures of time overflow.
constexpr int64_t kLeastRate = 64;           // bytes per second
constexpr int64_t kMostRate = 12500000000ll; // 100 Gbit/s

// Room for the class of one device, and for all.
constexpr size_t kLimitScript = 384;
constexpr size_t kMaxLimits = 256 + kMaxSettings * kLimitScript;

// Writes the lines that make or change the class of the device in `place` on an interface.
size_t WriteLimit(const char *interface, uint16_t place, int64_t bytesPerSecond, char *script, size_t size);

// Writes the line that removes it.
size_t WriteNoLimit(const char *interface, uint16_t place, char *script, size_t size);

// Writes the lines for the qdisc and the classes of all devices, for an interface that has none of them. Returns 0 if no
// device is limited in this direction, or the script does not fit.
size_t WriteLimits(const char *interface, const State *state, bool up, char *script, size_t size);
