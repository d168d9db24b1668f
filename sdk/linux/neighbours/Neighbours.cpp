#include "sdk/linux/neighbours/Neighbours.h"

#include <arpa/inet.h>
#include <cstring>
#include <linux/filter.h>
#include <linux/neighbour.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include "sdk/linux/base/Texts.h"
#include "sdk/linux/links/Netlink.h"

static const int64_t kTick = 10; // milliseconds in the unit of ages that the kernel tells

// All that this module remembers.
static struct {
    Neighbour neighbours[kMaxNeighbours];
    size_t neighbourCount; // places that were ever used
    BridgeEntry entries[kMaxBridgeEntries];
    size_t entryCount;
} s_table;

void NeighboursClear()
{
    // Only what is used: the rest are pages that the process has never touched.
    memset(s_table.neighbours, 0, s_table.neighbourCount * sizeof s_table.neighbours[0]);
    memset(s_table.entries, 0, s_table.entryCount * sizeof s_table.entries[0]);
    s_table.neighbourCount = s_table.entryCount = 0;
}

const Neighbour *Neighbours(size_t *count)
{
    *count = s_table.neighbourCount;
    return s_table.neighbours;
}

const BridgeEntry *BridgeEntries(size_t *count)
{
    *count = s_table.entryCount;
    return s_table.entries;
}

static BridgeEntry *FindEntry(const uint8_t mac[6])
{
    for (size_t i = 0; i < s_table.entryCount; i++)
        if (s_table.entries[i].port && SameMac(s_table.entries[i].mac, mac)) return &s_table.entries[i];
    return nullptr;
}

Neighbour *NeighbourOf(uint8_t family, const uint8_t *address)
{
    const size_t size = family == AF_INET ? 4 : 16;
    for (size_t i = 0; i < s_table.neighbourCount; i++) {
        Neighbour &neighbour = s_table.neighbours[i];
        if (neighbour.family == family && memcmp(neighbour.address, address, size) == 0) return &neighbour;
    }
    return nullptr;
}

// ---- Messages ----

static BridgeEntry *NewEntry()
{
    BridgeEntry *oldest = &s_table.entries[0];
    for (size_t i = 0; i < s_table.entryCount; i++) {
        if (!s_table.entries[i].port) return &s_table.entries[i];
        if (s_table.entries[i].sinceMs < oldest->sinceMs) oldest = &s_table.entries[i];
    }
    return s_table.entryCount < kMaxBridgeEntries ? &s_table.entries[s_table.entryCount++] : oldest;
}

static bool OnBridgeEntry(const nlmsghdr *message, const ndmsg *header, const uint8_t *mac, int64_t now)
{
    // Permanent entries are the ports' own addresses.
    if ((header->ndm_state & NUD_PERMANENT) || !IsDeviceMac(mac)) return false;
    BridgeEntry *entry = FindEntry(mac);
    if (message->nlmsg_type == RTM_DELNEIGH) {
        if (!entry || entry->port != header->ndm_ifindex) return false; // it has moved to another port before
        entry->port = 0;
        return true;
    }
    if (entry && entry->port == header->ndm_ifindex) return false;
    if (!entry) entry = NewEntry();
    memcpy(entry->mac, mac, sizeof entry->mac);
    entry->port = header->ndm_ifindex;
    entry->sinceMs = now;
    return true;
}

static Neighbour *NewNeighbour()
{
    Neighbour *oldest = &s_table.neighbours[0];
    for (size_t i = 0; i < s_table.neighbourCount; i++) {
        Neighbour &neighbour = s_table.neighbours[i];
        if (!neighbour.family) return &neighbour;
        if (neighbour.confirmedMs < oldest->confirmedMs) oldest = &neighbour;
    }
    return s_table.neighbourCount < kMaxNeighbours ? &s_table.neighbours[s_table.neighbourCount++] : oldest;
}

// When the entry was confirmed, as far as the message tells. The kernel dates a new entry back, as if it had been confirmed
// once; so an age counts only after the entry has been reachable.
static int64_t ConfirmedMs(const nlattr *info, uint16_t state, int64_t now, int64_t before)
{
    if (!HasRoom(info, sizeof(nda_cacheinfo)) || (state != NUD_REACHABLE && before == 0)) return before;
    nda_cacheinfo ages;
    memcpy(&ages, mnl_attr_get_payload(info), sizeof ages);
    const int64_t at = now - int64_t(ages.ndm_confirmed) * kTick;
    return at > before ? at : before;
}

static bool OnNeighbour(const nlmsghdr *message, const ndmsg *header, const nlattr **attributes, const uint8_t *mac,
                        int64_t now)
{
    const size_t size = header->ndm_family == AF_INET ? 4 : header->ndm_family == AF_INET6 ? 16 : 0;
    if (size == 0 || !HasRoom(attributes[NDA_DST], size)) return false;
    const uint8_t *address = static_cast<const uint8_t *>(mnl_attr_get_payload(attributes[NDA_DST]));
    Neighbour *neighbour = NeighbourOf(header->ndm_family, address);
    // A failed entry has no MAC any more. Group addresses are not devices.
    const bool gone = message->nlmsg_type == RTM_DELNEIGH || !mac || !IsDeviceMac(mac) ||
                      (header->ndm_state & (NUD_FAILED | NUD_INCOMPLETE | NUD_NOARP)) || header->ndm_state == NUD_NONE;
    if (gone) {
        if (!neighbour) return false;
        memset(neighbour, 0, sizeof *neighbour);
        return true;
    }
    if (!neighbour) {
        neighbour = NewNeighbour();
        memset(neighbour, 0, sizeof *neighbour);
        neighbour->family = header->ndm_family;
        memcpy(neighbour->address, address, size);
    }
    if (!SameMac(neighbour->mac, mac)) neighbour->confirmedMs = 0; // another device with this address
    memcpy(neighbour->mac, mac, sizeof neighbour->mac);
    neighbour->state = header->ndm_state;
    neighbour->confirmedMs = ConfirmedMs(attributes[NDA_CACHEINFO], header->ndm_state, now, neighbour->confirmedMs);
    return true;
}

bool NeighboursOnMessage(const nlmsghdr *message, int lan, int64_t now)
{
    if (message->nlmsg_type != RTM_NEWNEIGH && message->nlmsg_type != RTM_DELNEIGH) return false;
    if (mnl_nlmsg_get_payload_len(message) < sizeof(ndmsg)) return false;
    const ndmsg *header = static_cast<const ndmsg *>(mnl_nlmsg_get_payload(message));
    const nlattr *attributes[NDA_MASTER + 1];
    CollectAttributes(message, sizeof *header, attributes, NDA_MASTER);
    const uint8_t *mac = HasRoom(attributes[NDA_LLADDR], 6)
                             ? static_cast<const uint8_t *>(mnl_attr_get_payload(attributes[NDA_LLADDR]))
                             : nullptr;
    if (header->ndm_family == AF_BRIDGE) {
        // Entries of the port's own driver say no master; those of the bridge name it.
        const bool ours = HasRoom(attributes[NDA_MASTER], 4) && int(mnl_attr_get_u32(attributes[NDA_MASTER])) == lan;
        return ours && mac && OnBridgeEntry(message, header, mac, now);
    }
    return header->ndm_ifindex == lan && lan != 0 && OnNeighbour(message, header, attributes, mac, now);
}

// ---- News ----

bool HearLittle(mnl_socket *socket, int lan)
{
    // The kernel runs this on each message. A filter loads numbers as the network orders them.
    static const uint16_t dull = htons(NUD_STALE | NUD_DELAY | NUD_PROBE), group = htons(NUD_NOARP);
    sock_filter program[] = {
        BPF_STMT(BPF_LD | BPF_H | BPF_ABS, offsetof(nlmsghdr, nlmsg_type)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, htons(RTM_NEWNEIGH), 1, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, htons(RTM_DELNEIGH), 0, 11),
        BPF_STMT(BPF_LD | BPF_B | BPF_ABS, NLMSG_HDRLEN + offsetof(ndmsg, ndm_family)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, AF_BRIDGE, 9, 0),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, NLMSG_HDRLEN + offsetof(ndmsg, ndm_ifindex)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, htonl(uint32_t(lan)), 0, 6),
        BPF_STMT(BPF_LD | BPF_H | BPF_ABS, offsetof(nlmsghdr, nlmsg_type)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, htons(RTM_NEWNEIGH), 2, 0),
        BPF_STMT(BPF_LD | BPF_H | BPF_ABS, NLMSG_HDRLEN + offsetof(ndmsg, ndm_state)), // it is gone
        BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, group, 2, 3),
        BPF_STMT(BPF_LD | BPF_H | BPF_ABS, NLMSG_HDRLEN + offsetof(ndmsg, ndm_state)),
        BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, dull, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, 0),
        BPF_STMT(BPF_RET | BPF_K, UINT32_MAX),
    };
    const sock_fprog filter = {sizeof program / sizeof *program, program};
    const int descriptor = mnl_socket_get_fd(socket), none = 0;
    if (lan) return setsockopt(descriptor, SOL_SOCKET, SO_ATTACH_FILTER, &filter, sizeof filter) == 0;
    setsockopt(descriptor, SOL_SOCKET, SO_DETACH_FILTER, &none, sizeof none);
    return true;
}

// ---- Probes ----

nlmsghdr *WriteProbe(char *buffer, int lan, uint8_t family, const uint8_t *address, const uint8_t mac[6])
{
    nlmsghdr *message = mnl_nlmsg_put_header(buffer);
    message->nlmsg_type = RTM_NEWNEIGH;
    message->nlmsg_flags = NLM_F_REQUEST | NLM_F_CREATE | NLM_F_REPLACE;
    ndmsg *header = static_cast<ndmsg *>(mnl_nlmsg_put_extra_header(message, sizeof *header));
    header->ndm_family = family;
    header->ndm_ifindex = lan;
    header->ndm_state = NUD_PROBE;
    mnl_attr_put(message, NDA_DST, family == AF_INET ? 4 : 16, address);
    mnl_attr_put(message, NDA_LLADDR, kMacSize, mac);
    return message;
}
