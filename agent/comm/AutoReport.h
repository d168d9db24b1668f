// AutoReport.h - how often the local peer reports by itself, and when: its configuration and the calibration.
//
// The platform's configuration goes to the peer together with the times that ReportTimes.h works out for this router;
// the peer keeps it and tells it when asked. Once after the start the times are worked out anew and sent again, as
// midnight and the clock may have moved since.
//
// State:    the configuration below. Each value may be read alone at any time; those that belong together are read and
//           written as one, under this module's lock.
// Threads:  Comm_get_88Conf() on the local command handler's thread, ComF_set_auto_report() on the response thread,
//           ComF_send_calibration() on the main thread.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

extern std::atomic<int> intervalFlag1; // period of the reports of type 1; all three are -1 while not configured
extern std::atomic<int> intervalFlag2; // minutes; 1440: one report a day, 0: none
extern std::atomic<int> intervalFlag3; // minutes between the reports of type 3; 0: none
extern std::atomic<int> referNum;      // slots over which the routers are spread; -1 while not configured
extern std::atomic<int> serverErr;     // the platform's clock minus ours as last agreed, seconds

constexpr size_t kJumpTimeSize = 20;

// The configuration as one: all values at the same moment.
struct AutoReportConf {
    int referNum = -1;
    int serverErr = 0;
    int interval1 = -1;
    int interval2 = -1;
    int interval3 = -1;
    char jumpTime[kJumpTimeSize] = ""; // the quiet period "H:MM-H:MM", or empty
};

AutoReportConf AutoReportConfNow();
void AutoReportConfSet(const AutoReportConf &conf);

// The request to the peer, a JSON text, without its NUL.
constexpr size_t kAutoReportTextMax = 500;

// Works out the request that hands the platform's configuration `text` (JSON, terminated, of which `length` bytes
// count: 2 to 1023) to the peer, at the present time and for gRoutemac. Returns 0 with `request` and `conf`, or 1 with
// a log line: no JSON, a value out of its range, a time stamp over 90 s off, an unusable quiet period, or too long.
int AutoReportRequest(const char *text, int length, AutoReportConf *conf, char request[kAutoReportTextMax + 1]);

// Takes the peer's answer to the question for its configuration: `payload` has `length` bytes, a status and a JSON
// text. Anything but status 0 with 4 to 1022 bytes of JSON leaves nothing configured.
void Comm_get_88Conf(const uint8_t *payload, size_t length);

// Has the peer report by the platform's configuration `text`, as above, and keeps it. Waits up to 10 s for the answer.
// Returns 0, the peer's status, or 1 when nothing could be sent or no answer came.
int ComF_set_auto_report(const char *text, int length);

// Has the peer's report times calibrated by the present configuration; does not wait. Without a peer, a configuration
// or any report to time nothing happens.
void ComF_send_calibration();
