// RecordingSdk.h - a router that notes what it is asked and answers what the test says.
#pragma once

#include <string>
#include <vector>

#include "sdk/RouterSdk.h"

struct RecordingSdkState {
    std::vector<std::string> calls; // the functions called, in order
    int result = 0; // of every call that has no result of its own below; on failure nothing is filled in
    int nameResult = 0;
    uint8_t mac[6] = {0x02, 0x11, 0x22, 0x33, 0x44, 0x55};
    std::string serial = "SN-0001";
    std::string vendor = "Vendor";
    std::string model = "Model";
    std::string name = "router";
    RouterVersion version = {};
    CpuCfg cpu = {};
    MemCfg memory = {};
    int isPlug = 1;
    int supportsIpv6 = 1;
};

extern RecordingSdkState gSdk;

// A router as new, with the values above.
void RecordingSdkReset();
