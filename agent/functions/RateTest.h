// RateTest.h - function 61 and the configured test of function 87: how fast the router downloads a file over HTTP. The
// test sends its result by itself, as a record of function 62.
//
// State:    the variables below. idle -> started (gRateThreadState 1, rateRes 1) -> result sent (gRateThreadState 0) ->
//           joined by the next start (rateRes 0).
// Threads:  RateTestStart() and ParseConfigData() on the response thread; StopRateTest() on the thread that ends the
//           diagnostics, never at the same time as those two. SplitRateUrl() on any.
#pragma once

#include <cstddef>
#include <cstdint>
#include <pthread.h>

#include "core/Wire.h"
#include "os/OsAtomic.h"

constexpr size_t kMaxConfigText = 1023; // bytes of a configuration, and so also of a URL
constexpr size_t kRateHostMin = 3;
constexpr size_t kMaxRateHost = 64;
constexpr size_t kMaxRatePort = 7; // characters

extern OsAtomic<int8_t> gRateThreadState; // 1 from a start until the result has been sent
extern OsAtomic<int> rateRes;             // 1 while there is a thread to join
extern pthread_t rateThreadId;

// Where a rate test downloads from.
struct RateTarget {
    char host[kMaxRateHost + 1];
    int port;
    char path[kMaxConfigText + 1]; // from its slash on
};

// Function 61: starts a test with the built-in server, unless a test runs. The reply is 12 zero bytes in both cases.
// Returns 0.
int RateTestStart(WireReader *parameters, WireWriter *reply);

// Function 87: starts a test with the URL in member "value_func61" of the JSON object `text` (`length` bytes, 2 to
// 1023). Returns 0 if there is such a text, whether or not a test could be started, else 1.
[[nodiscard]] int ParseConfigData(const char *text, int length);

// Splits scheme "://" host [":" port] "/" path. Returns false if a part is missing, the host does not have 3 to 64
// characters, or the text of the port has more than 7. The port is 80 if none is given, and 0 if its text is no decimal
// number from 1 to 65535: such a test fails. A colon after the first slash belongs to the path.
[[nodiscard]] bool SplitRateUrl(const char *url, RateTarget *target);

// The threads of functions 61 and 87. The first ignores its argument; that of the second is the URL, a text.
void *RateTestThread(void *request);
void *RateTestProc(void *url);

// Aborts a test that was started, and joins its thread.
void StopRateTest();
