// Any ARP table: the reader finds the same entries, in the same order, as a simple search line by line.
//
// Input: the table.
#include <algorithm>
#include <arpa/inet.h>
#include <cstdio>
#include <cstring>
#include <string>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

#include "FuzzOs.h"
#include "subdev/ArpTable.h"

static std::vector<std::string> Fields(const std::string &line)
{
    std::vector<std::string> fields(1);
    for (const char c : line) {
        if (!strchr(" \t\r", c))
            fields.back() += c;
        else if (!fields.back().empty())
            fields.emplace_back();
    }
    if (fields.back().empty()) fields.pop_back();
    return fields;
}

static bool IsEntry(std::string line, ArpEntry *entry)
{
    line = line.substr(0, kMaxArpLine);
    line = line.substr(0, line.find('\0'));
    const std::vector<std::string> fields = Fields(line);
    if (fields.size() < 4 || fields[3].size() != 17) return false;
    for (size_t i = 0; i < 17; i++)
        if (i % 3 == 2 ? fields[3][i] != ':' : !strchr("0123456789abcdefABCDEF", fields[3][i])) return false;
    struct in_addr ip;
    if (inet_aton(fields[0].c_str(), &ip) == 0) return false;
    memcpy(entry->ip, &ip, sizeof entry->ip);
    unsigned m[6];
    REQUIRE(sscanf(fields[3].c_str(), "%x:%x:%x:%x:%x:%x", &m[0], &m[1], &m[2], &m[3], &m[4], &m[5]) == 6);
    for (int i = 0; i < 6; i++) entry->mac[i] = static_cast<uint8_t>(m[i]);
    return true;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const int fd = memfd_create("arp", MFD_CLOEXEC);
    REQUIRE(fd >= 0 && pwrite(fd, data, size, 0) == static_cast<ssize_t>(size));
    ArpReader reader = ArpRead(fd);
    ArpEntry entry;
    const std::string table(reinterpret_cast<const char *>(data), size);
    for (size_t at = 0; at < table.size();) {
        const size_t end = std::min(table.find('\n', at), table.size());
        ArpEntry expected;
        if (IsEntry(table.substr(at, end - at), &expected)) {
            REQUIRE(ArpNext(&reader, &entry));
            REQUIRE(memcmp(entry.ip, expected.ip, 4) == 0 && memcmp(entry.mac, expected.mac, 6) == 0);
        }
        at = end + 1;
    }
    REQUIRE(!ArpNext(&reader, &entry));
    close(fd);
    return 0;
}
