// Links.h - the machine's interfaces, addresses and default routes, as the kernel's messages tell them.
// State:    one table of each, filled by LinksOnMessage().
// Threads:  whoever holds the cache's lock.
#pragma once

#include <cstddef>
#include <cstdint>
#include <linux/netlink.h>

#include "sdk/linux/settings/Config.h"

constexpr size_t kMaxLinks = 512;
constexpr size_t kMaxAddresses = 256;
constexpr size_t kMaxRoutes = 16;

struct Link {
    int index; // 0: the place is free
    int master;
    uint32_t mtu;
    uint16_t type; // ARPHRD_...
    uint16_t vlan;
    uint8_t mac[6];
    uint16_t speed; // Mbit/s, 0 if not known; SetLinkSpeed() notes it
    bool up;        // switched on, with carrier
    bool isBridge;
    char name[kMaxInterfaceName];
};

// Takes one message of rtnetlink. Returns true if it changed something that rules or ports depend on.
bool LinksOnMessage(const nlmsghdr *message);

// Forgets everything, before a new dump.
void LinksClear();

// Notes the speed of an interface, which rtnetlink does not tell.
void SetLinkSpeed(int index, uint16_t mbps);

// Null if there is none.
const Link *LinkByName(const char *name);
const Link *LinkByIndex(int index);

// The LAN's own interface: the configured one, else the bridge with the lowest number. Null if there is none (yet).
const Link *LanLink(const Config *config);

// The WANs in their order: the configured ones, there or not, else the interfaces of the default routes, the best
// first. Returns the number of names, at most ROUTER_SDK_WANS.
uint16_t WanNames(const Config *config, char names[ROUTER_SDK_WANS][kMaxInterfaceName]);

// The LAN ports in their order: the configured ones, there or not, else the wired ports of the bridge by name; the LAN
// interface itself if it is no bridge. `isWireless` says of an interface's number whether it belongs to a radio.
uint16_t PortNames(const Config *config, char names[ROUTER_SDK_LAN_PORTS][kMaxInterfaceName], bool (*isWireless)(int));

// The first IPv4 address of an interface. False if it has none. `permanent` may be null: whether it was set by hand.
bool FirstAddress(int index, uint32_t *ip, uint32_t *netmask, bool *permanent);

// Whether an address (of 4 or 16 bytes) is one of the interface's own, or in one of its networks.
bool IsOwnAddress(int index, int family, const uint8_t *address);
bool IsInNetwork(int index, int family, const uint8_t *address);

// The gateway of the best IPv4 default route through an interface; 0 if it needs none. False if there is no such route.
bool DefaultGateway(int index, uint32_t *gateway);
