// Devices.h - the household's devices, put together from the kernel's tables, the leases and the radios' stations.
// State:    the table.
// Threads:  the cache thread alone puts it together, under the lock of the tables that it reads. What it shows is changed
//           one device at a time under the lock of the devices, so that who asks for it never waits for more than that.
//
// A device is present when its port has carrier, the bridge table, a lease or the station list knows it, and it has
// answered a probe, or shown to the kernel in another way that it is there, within the last minute.
#pragma once

#include <cstddef>
#include <cstdint>

#include "sdk/linux/base/Lock.h"
#include "sdk/linux/settings/Config.h"
#include "sdk/linux/settings/State.h"
#include "sdk/linux/traffic/Counters.h"

constexpr size_t kMaxDevices = 512;

// What is shown of a device.
struct Device {
    uint8_t mac[6];
    bool present;
    uint8_t link;  // ROUTER_LINK_...
    uint16_t port; // LAN port, or index of the SSID
    uint32_t ip;
    char name[64];     // from its lease; empty if there is none
    uint64_t rate[2];  // by Direction: bytes per second between the last two samples
    uint16_t speed[3]; // Mbit/s: negotiated, receive, transmit; 0 if not known
};

// A question to a device whether it is there.
struct Probe {
    int lan; // number of the LAN's interface
    uint8_t family;
    uint8_t address[16]; // an IPv4 address in the first four bytes
    uint8_t mac[6];
};

// The lock of this table, of the settings and of the black list. It is held for copies alone: nobody computes, asks or
// waits while holding it, but for the lock itself. Who needs the lock of the other tables, too, takes that one first.
pthread_mutex_t *DevicesLock();

// Puts the table together anew, after its sources have changed and as time goes by.
void DevicesRefresh(const Config *config, int64_t now, int64_t wallSeconds);

// Null if it is not known. Under the lock of the devices.
const Device *FindDevice(const uint8_t mac[6]);

// All places. Under the lock of the devices.
const Device *Devices(size_t *count);

// Writes the probes that are due to `probes`, at most `room`, and notes them as sent. Returns their number.
size_t DevicesProbe(const Config *config, int64_t now, Probe *probes, size_t room);

// Whether a device has come in the last seconds that is not present yet: it is worth another look soon.
bool DevicesUnsettled(int64_t now);

// One round of counters: Begin, Add for each counter, End with the time since the last round, 0 for the first.
// End returns whether anything was sent or received.
void SampleBegin();
void SampleAdd(Direction direction, const uint8_t mac[6], uint64_t bytes);
bool SampleEnd(int64_t elapsedMs);
// What all devices together send or receive, in bytes per second, by the last two samples. Under the lock of the devices.
uint64_t TotalRate(Direction direction);

// Forgets everything.
void DevicesClear();
