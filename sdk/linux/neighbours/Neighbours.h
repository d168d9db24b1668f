// Neighbours.h - who has which address on the LAN, and at which port of the bridge: the kernel's neighbour tables (ARP and
//                ND) and its bridge table, as its messages tell them.
// State:    one table of each, filled by NeighboursOnMessage().
// Threads:  whoever holds the cache's lock.
#pragma once

#include <cstddef>
#include <cstdint>
#include <libmnl/libmnl.h>

constexpr size_t kMaxNeighbours = 1536; // four addresses for each of 384 devices
constexpr size_t kMaxBridgeEntries = 1024;

struct Neighbour {
    uint8_t mac[6];
    uint8_t family;      // AF_INET, AF_INET6; 0: the place is free
    uint8_t address[16]; // an IPv4 address in the first four bytes
    uint16_t state;      // NUD_...
    int64_t confirmedMs; // when the kernel last had an answer, or a proof of one, on the clock of NowMs(); 0 for never
};

struct BridgeEntry {
    uint8_t mac[6];
    int port;        // number of the port's interface; 0: the place is free
    int64_t sinceMs; // when it came to this port
};

// Takes one message of rtnetlink. `lan` is the number of the LAN's interface: neighbours of others are left out, and
// `now` the time. Returns true if something changed. Of a full table the entry that was confirmed longest ago goes.
bool NeighboursOnMessage(const nlmsghdr *message, int lan, int64_t now);

// Lets a socket of rtnetlink hear of ARP and ND only who on the interface `lan` has answered or is gone, and not which
// entries have become old or are asked again, or which group addresses are forgotten: that is most of the news and says
// nothing of a device. What else has happened a dump tells. 0 lets it hear everything again. Returns false if the kernel refuses: it hears what it did.
bool HearLittle(mnl_socket *socket, int lan);

// Forgets everything, before a new dump.
void NeighboursClear();

// All places, some of them free.
const Neighbour *Neighbours(size_t *count);
const BridgeEntry *BridgeEntries(size_t *count);

// The entry of an address, or null.
Neighbour *NeighbourOf(uint8_t family, const uint8_t *address);

// Writes the message that makes the kernel probe an address at once, by unicast to `mac`. `buffer` has room for
// kProbeMessage bytes. Returns the message.
constexpr size_t kProbeMessage = 64;
nlmsghdr *WriteProbe(char *buffer, int lan, uint8_t family, const uint8_t *address, const uint8_t mac[6]);
