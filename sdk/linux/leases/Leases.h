// Leases.h - the lease file of dnsmasq: "EXPIRY MAC ADDRESS NAME CLIENT-ID" on each line, "*" for no name.
// State:    the leases of the last reading.
// Threads:  the cache thread; ReadLeases() any.
#pragma once

#include <cstddef>
#include <cstdint>

constexpr size_t kMaxLeases = 512;

struct Lease {
    uint8_t mac[6];
    uint32_t ip;
    int64_t expires; // seconds since 1970; 0 for never
    char name[64];   // only harmless characters; empty if the device told none
};

// Reads the text of a lease file into `leases`, with room for kMaxLeases. Returns their number. Lines that are none,
// leases of IPv6 and what is over the room are left out. Names come from the devices themselves: see CopyHostName().
size_t ReadLeases(const char *text, Lease *leases);

// Reads the file if it has changed since the last time, and returns whether it did. A file that cannot be read, or is
// larger than 256 KiB, changes nothing; one that is not there has no leases.
bool LoadLeases(const char *path);

// All leases in the order of the file: of several for one device the last counts.
const Lease *Leases(size_t *count);
