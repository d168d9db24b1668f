// SubdevReport.h - the report of all attached devices: its records and its frame.
//
//   0  2  report sequence, LE    4  2  zero         8  45 x count  records
//   2  2  63, LE                 6  2  count, LE
//
// State:    the report sequence, used by the worker only.
// Threads:  the thread that owns the report; SubdevReportReset() before the worker starts.
#pragma once

#include <cstddef>
#include <cstdint>

constexpr uint16_t kMaxSubdevs = 128; // devices of a report

// Bytes only: a record stands in the frame as it is here.
struct SubdevRecord {
    uint8_t ip[4]; // the octets in reverse order, as the platform reads them
    uint8_t mac[6];
    uint8_t name[16]; // not terminated if it has 16 characters
    uint8_t up[8];    // traffic figures, LE, in the unit of the router's library
    uint8_t down[8];
    uint8_t online;  // 1: in the router's list; 0: only in the ARP table
    uint8_t allowed; // 0: black-listed
    uint8_t access;  // 1: internet allowed; 0: refused
};
static_assert(sizeof(SubdevRecord) == 45, "a record is not 45 bytes");

struct SubdevReport {
    uint16_t count;
    struct {
        uint8_t header[8];
        SubdevRecord records[kMaxSubdevs + 1]; // the last one is never used
    } frame;
};

// Makes the next report number 0.
void SubdevReportReset();

// Appends a device and returns its record. ip: 4 bytes in network order; mac: 6 bytes; name: 16 bytes, the first of
// them 0 if the device has none. The report must have fewer than kMaxSubdevs devices.
SubdevRecord *SubdevReportAdd(SubdevReport *report, const uint8_t *ip, const uint8_t *mac, const void *name);

// Returns the first record with `mac` (6 bytes), or nullptr.
[[nodiscard]] SubdevRecord *SubdevReportFind(SubdevReport *report, const uint8_t *mac);

// Sets `allowed` of every record. The router is asked for its black list only when -d was given; without -d all devices
// are allowed.
void GetBlackInfo(SubdevReport *report);

// Completes the frame and sends it to the platform. A report of more than kMaxSubdevs devices is logged and not sent.
void SendtoServer(SubdevReport *report);
