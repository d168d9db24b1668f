// FunctionTest.h - carries out one function of the platform against the recording router, from request to reply.
#pragma once

#include "tests/unit/agent/PlatformSide.h"

typedef std::vector<std::string> Calls;

// Requests have the tag A5 5A, noise in the six unused bytes, and zeros after their parameters.
class FunctionTest : public AgentTest
{
  protected:
    // Carries the function out and returns the whole reply. Both buffers have exactly their size, for the sanitizers.
    static Bytes Reply(uint16_t id, const Bytes &parameters = {}, int expectedResult = 0);

    // All calls of the router fail from now on. A careless router fills in its results before it fails.
    static void Fail(int result, bool careless);
};

// A function in the tests that several functions share; it is the test's parameter and gives it its name.
struct SharedRow {
    uint16_t id;
    const char *call;     // of the router or the local peer
    const char *log = ""; // of a request to the local peer: the log text of a failure with 2, "" for none
    size_t from = 0;      // of a text: parameter bytes in front of it
};

void PrintTo(const SharedRow &row, std::ostream *out);
std::string NameOfRow(const testing::TestParamInfo<SharedRow> &info);

Bytes FunctionRequest(uint16_t id, const Bytes &parameters);

// Tag, ID and status of a reply to FunctionRequest().
Bytes Head(uint16_t id, const std::string &status = "00 00");

// The text and zeros up to `size`.
Bytes Field(const std::string &text, size_t size);

// Network byte order.
uint32_t Ip(uint8_t a, uint8_t b, uint8_t c, uint8_t d);

// A record of the router, and the same record on the wire.
WanCfg SampleWan();
Bytes SampleWanOnTheWire();
SsidCfg SampleSsid();
Bytes SampleSsidOnTheWire();
DevCfg SampleDevice();
Bytes SampleDeviceOnTheWire();
AdjWifi SampleNeighbour();
Bytes SampleNeighbourOnTheWire();
