// Rules.h - the script for nft that holds all of this router's rules, and the small ones that change it.
// State:    none. Nothing here runs anything.
//
// Two tables, both called plug_router:
//   inet    forward hook. What devices send to the internet: dropped by their MAC, counted, given the class of their
//           limit. What is forwarded to them gets a priority that only this library uses, its mark.
//   netdev  egress hook of the LAN's interface, where the receiving device's MAC is known, for IPv4 and IPv6 alike. Only
//           packets with the mark are dropped, counted and given a class. So the router's own packets (ARP, DHCP, DNS)
//           always reach a device, and traffic between devices never gets here.
#pragma once

#include <cstddef>
#include <cstdint>

#include "sdk/linux/settings/State.h"

#define RULES_TABLE "plug_router"
constexpr uint16_t kQdiscMajor = 0x706C; // "pl": the handle of our qdiscs
constexpr uint16_t kMarkMinor = 0xFFFF;  // the mark: a class that does not exist
constexpr uint16_t kFirstClass = 0x10;   // of the device in place 0
constexpr size_t kMaxBlack = ROUTER_SDK_BLACK_LIST;

struct RuleInput {
    const State *state;
    const char *lan;        // name of the LAN's interface; null if there is none (yet)
    const char (*wans)[16]; // names
    uint16_t wanCount;
    bool masquerade;
    const uint8_t (*black)[6];
    uint16_t blackCount;
};

// Writes the script that puts everything in force at once, in place of what was there before. Returns its length, or 0
// if it does not fit. All names in it have been checked by IsInterfaceName().
size_t WriteRules(const RuleInput *input, char *script, size_t size);

// Room that WriteRules() needs at most.
constexpr size_t kMaxRules = 4096 + (kMaxSettings + kMaxBlack) * 2 * 64;

// Writes the script that refuses a device or lets it in again.
size_t WriteAccess(const uint8_t mac[6], bool refused, char *script, size_t size);

// Writes the script that gives a device's packets the class of its place, or takes it from them.
size_t WriteClass(const uint8_t mac[6], uint16_t place, bool up, bool limited, char *script, size_t size);
