// ArpTable.h - reads the kernel's ARP table as "cat /proc/net/arp" prints it:
//
//   192.168.1.20     0x1         0x2         02:1a:2b:00:00:14     *        br0
//
// State:    none; a reader and its descriptor belong to the caller.
// Threads:  any.
#pragma once

#include <cstddef>
#include <cstdint>

constexpr size_t kMaxArpLine = 158; // characters of a line that are read; the rest is ignored

struct ArpEntry {
    uint8_t ip[4]; // network order
    uint8_t mac[6];
};

struct ArpReader {
    int fd;
    size_t taken;
    size_t filled;
    char buffer[256];
};

// Returns a reader of `fd` from its present position.
[[nodiscard]] inline ArpReader ArpRead(int fd)
{
    ArpReader reader;
    reader.fd = fd;
    reader.taken = reader.filled = 0;
    return reader;
}

// Stores the next entry. Skips lines whose first field is no address or whose fourth is no MAC of exactly 17
// characters. Returns false at the end of the table or when reading fails.
[[nodiscard]] bool ArpNext(ArpReader *reader, ArpEntry *entry);

// Parses one line, which it changes. Returns false and leaves `entry` unchanged when the line is no entry.
[[nodiscard]] bool ArpParse(char *line, ArpEntry *entry);
