// ArpTable.h - reads the kernel's table of neighbours, as "cat /proc/net/arp" prints it:
//
//   192.168.1.20     0x1         0x2         02:1a:2b:00:00:14     *        br0
//
// State:    none; a reader belongs to whoever declares it, and so does its descriptor.
// Threads:  any.
#pragma once

#include <cstddef>
#include <cstdint>

constexpr size_t kArpLineMax = 158; // of a longer line, the rest is not looked at

struct ArpEntry {
    uint8_t ip[4]; // in network order
    uint8_t mac[6];
};

struct ArpReader {
    int fd;
    size_t taken;
    size_t filled;
    char buffer[256];
};

inline ArpReader ArpRead(int fd)
{
    ArpReader reader;
    reader.fd = fd;
    reader.taken = reader.filled = 0;
    return reader;
}

// Stores the next entry. Lines whose first field is no address, or whose fourth is not a MAC of exactly 17 characters,
// are skipped. Returns false at the end of the table, or when it cannot be read any further.
bool ArpNext(ArpReader *reader, ArpEntry *entry);

// Takes one line apart, which is changed by that. Returns false, and leaves `entry` alone, when it is none.
bool ArpParse(char *line, ArpEntry *entry);
