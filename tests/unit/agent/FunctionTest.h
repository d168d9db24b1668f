// FunctionTest.h - one function of the platform, request record to reply record, against the recording router.
#pragma once

#include "tests/unit/agent/PlatformSide.h"

typedef std::vector<std::string> Calls;

// Requests have the tag A5 5A, noise in the six bytes that mean nothing, and zeros behind their parameters.
class FunctionTest : public AgentTest
{
  protected:
    // Carries the function out and returns the whole reply. Request and reply stand in rooms of exactly their size.
    static Bytes Reply(uint16_t id, const Bytes &parameters = {}, int expectedResult = 0);

    // All calls of the router fail from now on. A careless one fills in everything before it does.
    static void Fail(int result, bool careless);
};

Bytes FunctionRequest(uint16_t id, const Bytes &parameters);

// Tag, ID and status of a reply to FunctionRequest().
Bytes Head(uint16_t id, const std::string &status = "00 00");

// The text and zeros up to `size`.
Bytes Field(const std::string &text, size_t size);

// Network byte order.
uint32_t Ip(uint8_t a, uint8_t b, uint8_t c, uint8_t d);

// A record as the router gives it, and as it travels.
WanCfg SampleWan();
Bytes SampleWanOnTheWire();
SsidCfg SampleSsid();
Bytes SampleSsidOnTheWire();
DevCfg SampleDevice();
Bytes SampleDeviceOnTheWire();
AdjWifi SampleNeighbour();
Bytes SampleNeighbourOnTheWire();
