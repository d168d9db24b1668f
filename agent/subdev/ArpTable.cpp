#include "subdev/ArpTable.h"

#include <arpa/inet.h>
#include <cstring>

#include "core/MacText.h"
#include "os/OsFile.h"

static const int kMacField = 3; // counts from 0
static const size_t kMacLength = 17;

bool ArpParse(char *line, ArpEntry *entry)
{
    static const char kBlanks[] = " \t\r\n";
    char *rest;
    const char *address = strtok_r(line, kBlanks, &rest);
    const char *hardware = address;
    for (int field = 0; field < kMacField && hardware; field++) hardware = strtok_r(nullptr, kBlanks, &rest);
    struct in_addr ip;
    if (!hardware || strlen(hardware) != kMacLength || inet_aton(address, &ip) == 0) return false;
    if (!MacFromText(hardware, ':', entry->mac)) return false;
    memcpy(entry->ip, &ip, sizeof entry->ip);
    return true;
}

static bool NextByte(ArpReader *reader, char *byte)
{
    if (reader->taken == reader->filled) {
        const ssize_t count = OsRead(reader->fd, reader->buffer, sizeof reader->buffer);
        if (count <= 0) return false;
        reader->taken = 0;
        reader->filled = static_cast<size_t>(count);
    }
    *byte = reader->buffer[reader->taken++];
    return true;
}

// Stores the next line, terminated, without its line feed. Returns false when nothing is left to read.
static bool NextLine(ArpReader *reader, char line[kMaxArpLine + 1])
{
    size_t length = 0;
    char byte = 0;
    bool any = false;
    while (byte != '\n' && NextByte(reader, &byte)) {
        any = true;
        if (length < kMaxArpLine) line[length++] = byte;
    }
    line[length] = '\0';
    return any;
}

bool ArpNext(ArpReader *reader, ArpEntry *entry)
{
    char line[kMaxArpLine + 1];
    while (NextLine(reader, line))
        if (ArpParse(line, entry)) return true;
    return false;
}
