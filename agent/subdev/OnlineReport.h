// OnlineReport.h - the report of one device that came online, the same for both functions that send it (39 and 40).
// State: none. Threads: any.
#pragma once

#include <cstddef>
#include <cstdint>

constexpr size_t kOnlineDataSize = 32; // a 16-byte name and 16 more bytes, zeros from the router's own list
constexpr size_t kOnlineReportSize = 47;

// Writes the report of the device `mac` (6 bytes) with its kOnlineDataSize bytes of `data`:
//   0  2  zero            4  2  zero            8   6  MAC          46  1  1, online
//   2  2  40, LE          6  2  1 device, LE    14  32 data
void OnlineReportWrite(const uint8_t *mac, const uint8_t *data, uint8_t report[kOnlineReportSize]);

// Sends the report to the platform unless AutoReportDevinfo is 0, and prints it on standard output when -d was given.
// `function` stands in the log line, with the name of `module` (LogModule()). A send that fails is ignored.
void OnlineReportSend(uint32_t module, const char *function, const uint8_t *mac, const uint8_t *data);
