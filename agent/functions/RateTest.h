// RateTest.h - function 61 and the configured test of function 87: how fast the router downloads a file over HTTP. The
// result leaves by itself, as a record of function 62.
//
// State:    below. idle -> started (gRateThreadState 1, rateRes 1) -> result sent (gRateThreadState 0) -> joined by the
//           next start (rateRes 0).
// Threads:  RateTestStart() and ParseConfigData() on the response thread; StopRateTest() on whichever thread ends the
//           diagnostics, never beside those two. SplitRateUrl() anywhere.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <pthread.h>

#include "core/Wire.h"

constexpr size_t kConfigTextMax = 1023; // bytes of a configuration, and so of a URL
constexpr size_t kRateHostMin = 3;
constexpr size_t kRateHostMax = 64;
constexpr size_t kRatePortMax = 7; // characters

extern std::atomic<int8_t> gRateThreadState; // 1 from a start until the result has been sent
extern std::atomic<int> rateRes;             // 1 while there is a thread to join
extern pthread_t rateThreadId;

// Where a rate test downloads from.
struct RateTarget {
    char host[kRateHostMax + 1];
    int port;
    char path[kConfigTextMax + 1]; // from its slash on
};

// Function 61: starts the test of the built-in server, unless one runs. The reply is 12 zero bytes either way.
// Returns 0.
int RateTestStart(WireReader *parameters, WireWriter *reply);

// Function 87: starts the test of the URL in member "value_func61" of the JSON object `text` (`length` bytes, 2 to
// 1023). Returns 0 when there is such a member, whether or not a test could be started, else 1.
int ParseConfigData(const char *text, int length);

// Splits scheme "://" host [":" port] "/" path. Returns false when a part is missing, the host has not 3 to 64
// characters, or the text of the port more than 7. The port is 80 when none is given, and 0 when its text is no decimal
// number between 1 and 65535: such a test fails. A colon behind the first slash belongs to the path.
bool SplitRateUrl(const char *url, RateTarget *target);

// The threads; the argument of the first is not read, that of the second is the URL.
void *RateTestThread(void *request);
void *RateTestProc(void *url);

// Breaks the test off if one was started, and joins its thread.
void StopRateTest();
