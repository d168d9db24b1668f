// AutoReport.h - how often and at what times the local peer reports by itself: the configuration and the calibration.
//
// The agent sends the platform's configuration to the peer, with the times that ReportTimes.h computes for this router.
// The peer keeps it and returns it when asked. Once after the start the agent computes the times again and sends them,
// because midnight and the clock may have moved since.
//
// State:    the configuration below. Each value may be read alone at any time; the whole is read and written under this
//           module's lock.
// Threads:  Comm_get_88Conf() on the local command handler's thread, ComF_set_auto_report() on the response thread,
//           ComF_send_calibration() on the main thread.
#pragma once

#include <cstddef>
#include <cstdint>

#include "os/OsAtomic.h"

extern OsAtomic<int> intervalFlag1; // period of the reports of type 1; all three are -1 while nothing is configured
extern OsAtomic<int> intervalFlag2; // minutes; 1440: one report a day, 0: none
extern OsAtomic<int> intervalFlag3; // minutes between the reports of type 3; 0: none
extern OsAtomic<int> referNum;      // slots over which the routers are spread; -1 while nothing is configured
extern OsAtomic<int> serverErr;     // the platform's clock minus ours, seconds, at the last configuration

constexpr size_t kJumpTimeSize = 20;

// The whole configuration.
struct AutoReportConf {
    int referNum = -1;
    int serverErr = 0;
    int interval1 = -1;
    int interval2 = -1;
    int interval3 = -1;
    char jumpTime[kJumpTimeSize] = ""; // the quiet period "H:MM-H:MM", or empty
};

// Returns the configuration, all values of the same moment.
[[nodiscard]] AutoReportConf AutoReportConfNow();

// Replaces the configuration.
void AutoReportConfSet(const AutoReportConf &conf);

constexpr size_t kMaxAutoReportText = 500; // characters of the request to the peer, a JSON text

// Makes the request that hands the platform's configuration to the peer. `text` is JSON, terminated, of which `length`
// bytes count (2 to 1023). The times are those of now and of gRoutemac. Returns 0 and fills `request` and `conf`; 1
// when `text` is no JSON, a value is out of its range, the time stamp is over 90 s off, the quiet period is unusable or
// the request too long.
[[nodiscard]] int AutoReportRequest(const char *text, int length, AutoReportConf *conf,
                                    char request[kMaxAutoReportText + 1]);

// Takes the peer's answer to the request for its configuration: `payload` has `length` bytes, a status and a JSON text.
// Unless the status is 0 and the text has 4 to 1022 bytes, nothing is configured afterwards.
void Comm_get_88Conf(const uint8_t *payload, size_t length);

// Hands the platform's configuration `text` (as above) to the peer and keeps it. Waits up to 10 s for the answer.
// Returns the peer's status (0: done), or 1 when the text is unusable, nothing could be sent or no answer came.
[[nodiscard]] int ComF_set_auto_report(const char *text, int length);

// Sends the peer the report times of the present configuration; does not wait for an answer. Sends nothing without a
// peer, without a configuration or without a report that has a time.
void ComF_send_calibration();
