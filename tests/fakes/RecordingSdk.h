// RecordingSdk.h - a router that notes what it is asked and answers what the test says.
#pragma once

#include <array>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "sdk/RouterSdk.h"
#include "tests/fakes/CallText.h"

// The maps are looked up by the whole call as it is noted ("get_lan_port_up_flow(3)"), then by the name alone.
struct RecordingSdkState {
    std::vector<std::string> calls;                  // in order, as CallText() writes them
    std::function<void(const std::string &)> onCall; // runs inside every call, with its name

    int result = 0;                     // of every call that has no result of its own
    std::map<std::string, int> results; // on failure nothing is filled in ...
    bool careless = false;              // ... but by this router, which fills in everything and fails then

    // Figures, switches, flags, and the counts of lists that are to differ from the records below.
    std::map<std::string, uint64_t> numbers = {{"get_router_is_plug", 1}, {"get_router_support_ipv6", 1}};
    // Texts; one that is too long for its field fills it without a terminator.
    std::map<std::string, std::string> texts = {
        {"get_router_vender", "Vendor"}, {"get_router_model", "Model"}, {"get_name", "router"}};

    uint8_t mac[6] = {0x02, 0x11, 0x22, 0x33, 0x44, 0x55};
    std::string serial = "SN-0001";
    RouterVersion version = {};
    CpuCfg cpu = {};
    MemCfg memory = {};
    LanCfg lan = {};
    WanCfg wan = {};   // of get_wan_cfg()
    SsidCfg ssid = {}; // of get_ssid_cfg()
    DevCfg device = {};
    uint32_t dns[2] = {};
    std::vector<uint8_t> lanStatus;
    std::vector<uint8_t> wanStatus;
    // Lists, of which no more are handed out than there is room; the count tells them all.
    std::vector<WanCfg> wans;
    std::vector<SsidCfg> ssids;
    std::vector<DevCfg> devices;
    std::vector<AdjWifi> neighbours;
    std::vector<std::array<uint8_t, 6>> blackList;
};

extern RecordingSdkState gSdk;

// A router as new, with the values above.
void RecordingSdkReset();
