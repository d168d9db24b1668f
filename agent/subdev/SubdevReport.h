// SubdevReport.h - the report of all attached devices: its records and its frame.
//
//   0  2  report sequence, LE    4  2  zero         8  45 x count  records
//   2  2  63, LE                 6  2  count, LE
//
// State:    the report sequence, used by the worker's thread alone.
// Threads:  the one whose report it is; SubdevReportReset() before that one starts.
#pragma once

#include <cstddef>
#include <cstdint>

constexpr uint16_t kSubdevMost = 128; // devices that a report has at most

// Bytes alone, so that records stand in the frame as they are here.
struct SubdevRecord {
    uint8_t ip[4]; // the octets in reverse order; the platform reads it that way
    uint8_t mac[6];
    uint8_t name[16]; // not terminated when it fills its room
    uint8_t up[8];    // traffic figures, LE, in the unit of the router's library
    uint8_t down[8];
    uint8_t online;  // 1 in the router's list, 0 only in the ARP table
    uint8_t allowed; // 0 when black-listed
    uint8_t access;  // 1 internet allowed, 0 refused
};
static_assert(sizeof(SubdevRecord) == 45, "a record has changed its size");

struct SubdevReport {
    uint16_t count;
    struct {
        uint8_t header[8];
        SubdevRecord records[kSubdevMost + 1]; // of the last one no use is made
    } frame;
};

// Makes the next report the first one.
void SubdevReportReset();

// Appends a device. ip: 4 bytes in network order; mac: 6 bytes; name: 16 bytes, of which the first is 0 when the device
// has none. The caller sees to it that there are not more than kSubdevMost.
SubdevRecord *SubdevReportAdd(SubdevReport *report, const uint8_t *ip, const uint8_t *mac, const void *name);

// The first record with this MAC, or nullptr.
SubdevRecord *SubdevReportFind(SubdevReport *report, const uint8_t *mac);

// Fills in who is black-listed. The router is asked for that only when -d was given; otherwise nobody is.
void GetBlackInfo(SubdevReport *report);

// Completes the frame and sends it to the platform. A report of more than kSubdevMost devices is not sent.
void SendtoServer(SubdevReport *report);
