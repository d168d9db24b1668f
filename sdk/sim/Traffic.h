// Traffic.h - what moves by itself in the household: devices that come and go, byte counters, rates, connections.
// State:    in the Household alone; every figure is a function of the time and of what was set before.
// Threads:  whoever holds the lock of Call.cpp.
#pragma once

#include "sdk/sim/Household.h"

// Brings everything up to `nowMs`, a time of SimNowMs(): the entries of the timetable that have become due, in their
// order, and the counters between them. An earlier time than the last one changes nothing.
void MoveHousehold(Household *home, int64_t nowMs);

// Restart of the router: up-time, connections and counters begin again.
void RestartHousehold(Household *home);

// Seconds since the router started.
uint64_t UptimeSeconds(const Household *home);

// Bytes per second of a device now: its typical use, varied every few seconds in a way that only its MAC and
// the time decide, and never more than its limit or its link allows. 0 while it is away or refused.
uint64_t UpRate(const Household *home, const Device *device);
uint64_t DownRate(const Household *home, const Device *device);

// Connections that are tracked now; they build up within a minute after a restart. `udp` 1 for UDP, 0 for TCP.
uint32_t Connections(const Household *home, uint16_t wan, int udp);

// Bytes received through a WAN since the restart. All traffic goes through the first connected one.
uint64_t WanReceivedBytes(const Household *home, uint16_t wan);

// Bytes of the wired devices of one LAN port since the restart. `up` 1 for sent, 0 for received.
uint64_t LanPortBytes(const Household *home, uint16_t port, int up);

// Mbit/s of a device's link: `which` 0 as negotiated, 1 receiving, 2 transmitting. Radio links lose some of it, now
// more, now less; a cable keeps its speed. 0 while the device is away.
uint16_t LinkSpeed(const Household *home, const Device *device, uint16_t which);
