// Devices.h - the household's devices, put together from the kernel's tables, the leases and the radios' stations.
// State:    the table.
// Threads:  whoever holds the cache's lock.
//
// A device is present when its port has carrier, the bridge table, a lease or the station list knows it, and it has
// answered a probe, or shown to the kernel in another way that it is there, within the last minute.
#pragma once

#include <cstddef>
#include <cstdint>
#include <linux/netlink.h>

#include "sdk/linux/settings/Config.h"
#include "sdk/linux/settings/State.h"
#include "sdk/linux/traffic/Counters.h"

constexpr size_t kMaxDevices = 512;

struct Device {
    uint8_t mac[6];
    bool present;
    bool wireless;
    bool inBridge; // the bridge table has it
    bool hasLease;
    uint8_t link;  // ROUTER_LINK_...
    uint16_t port; // LAN port, or index of the SSID
    int portIndex; // number of the port's interface; 0: not known
    uint32_t ip;
    char name[64];   // from its lease; empty if there is none
    int64_t knownMs; // when it was last heard of
    int64_t confirmedMs;
    int64_t probedMs;
    int64_t arrivedMs; // when it came to its port, if it is in the bridge table
    uint64_t bytes[2]; // by Direction; as the counters stood at the last sample
    uint64_t rate[2];  // bytes per second between the last two samples
    uint16_t speed[3]; // Mbit/s: negotiated, receive, transmit; 0 if not known
};

// Puts the table together anew, after its sources have changed and as time goes by.
void DevicesRefresh(const Config *config, int64_t now, int64_t wallSeconds);

// Null if it is not known.
Device *FindDevice(const uint8_t mac[6]);

// All places; those with a MAC of zeros are free.
Device *Devices(size_t *count);

// Gives each probe that is due to `send`, and notes it as sent.
void DevicesProbe(const Config *config, int64_t now, void (*send)(void *user, const nlmsghdr *probe), void *user);

// Whether a device has come in the last seconds that is not present yet: it is worth another look soon.
bool DevicesUnsettled(int64_t now);

// One round of counters: Begin, Add for each counter, End with the time since the last round, 0 for the first.
// End returns whether anything was sent or received.
void SampleBegin();
void SampleAdd(Direction direction, const uint8_t mac[6], uint64_t bytes);
bool SampleEnd(int64_t elapsedMs);
// What all devices together send or receive, in bytes per second, by the last two samples.
uint64_t TotalRate(Direction direction);

// Forgets everything.
void DevicesClear();
