#include "sdk/linux/links/Links.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <sys/socket.h>

#include "sdk/linux/links/Netlink.h"

namespace
{
struct Address {
    int index; // 0: the place is free
    int family;
    uint8_t prefix;
    bool permanent;
    uint8_t bytes[16];
};

struct Route {
    int index; // 0: the place is free
    uint32_t gateway;
    uint32_t metric;
};
} // namespace

// All that this module remembers.
static struct {
    Link links[kMaxLinks];
    size_t linkCount; // places that were ever used
    Address addresses[kMaxAddresses];
    size_t addressCount;
    Route routes[kMaxRoutes];
} s_table;

void LinksClear()
{
    // Only what is used: the rest are pages that the process has never touched.
    memset(s_table.links, 0, s_table.linkCount * sizeof s_table.links[0]);
    memset(s_table.addresses, 0, s_table.addressCount * sizeof s_table.addresses[0]);
    memset(s_table.routes, 0, sizeof s_table.routes);
    s_table.linkCount = s_table.addressCount = 0;
}

// The first place of `count` used ones that `fits`, or null.
template <typename Place, typename Fits>
static Place *Find(Place *places, size_t count, Fits fits)
{
    for (size_t i = 0; i < count; i++)
        if (places[i].index && fits(places[i])) return &places[i];
    return nullptr;
}

// A free place among `count` used ones or behind them; null if all `most` are taken.
template <typename Place>
static Place *FreePlace(Place *places, size_t *count, size_t most)
{
    for (size_t i = 0; i < *count; i++)
        if (!places[i].index) return &places[i];
    return *count < most ? &places[(*count)++] : nullptr;
}

// ---- Messages ----

static void ReadLinkInfo(const nlattr *info, Link *link)
{
    const nlattr *attributes[IFLA_INFO_DATA + 1];
    CollectNested(info, attributes, IFLA_INFO_DATA);
    if (!HasRoom(attributes[IFLA_INFO_KIND], 1)) return;
    const char *kind = mnl_attr_get_str(attributes[IFLA_INFO_KIND]);
    const size_t length = mnl_attr_get_payload_len(attributes[IFLA_INFO_KIND]);
    link->isBridge = strncmp(kind, "bridge", length) == 0;
    if (strncmp(kind, "vlan", length) != 0) return;
    const nlattr *data[IFLA_VLAN_ID + 1];
    CollectNested(attributes[IFLA_INFO_DATA], data, IFLA_VLAN_ID);
    if (HasRoom(data[IFLA_VLAN_ID], 2)) link->vlan = mnl_attr_get_u16(data[IFLA_VLAN_ID]);
}

static bool OnLink(const nlmsghdr *message)
{
    if (mnl_nlmsg_get_payload_len(message) < sizeof(ifinfomsg)) return false;
    const ifinfomsg *header = static_cast<const ifinfomsg *>(mnl_nlmsg_get_payload(message));
    if (header->ifi_family == AF_BRIDGE || header->ifi_index <= 0) return false; // news of a port as a port
    const auto isThis = [&](const Link &link) { return link.index == header->ifi_index; };
    Link *place = Find(s_table.links, s_table.linkCount, isThis);
    if (message->nlmsg_type == RTM_DELLINK) {
        if (!place) return false;
        memset(place, 0, sizeof *place);
        for (Address &address : s_table.addresses)
            if (address.index == header->ifi_index) address.index = 0;
        for (Route &route : s_table.routes)
            if (route.index == header->ifi_index) route.index = 0;
        return true;
    }
    const nlattr *attributes[IFLA_LINKINFO + 1];
    CollectAttributes(message, sizeof *header, attributes, IFLA_LINKINFO);
    if (attributes[IFLA_WIRELESS]) return false; // news of a radio: it names the link, and says nothing else of it
    Link link = {};
    link.index = header->ifi_index;
    link.type = header->ifi_type;
    link.up = (header->ifi_flags & (IFF_UP | IFF_RUNNING)) == (IFF_UP | IFF_RUNNING);
    if (HasRoom(attributes[IFLA_IFNAME], 1)) {
        char name[kMaxInterfaceName] = {};
        memcpy(name, mnl_attr_get_str(attributes[IFLA_IFNAME]),
               std::min<size_t>(mnl_attr_get_payload_len(attributes[IFLA_IFNAME]), sizeof name - 1));
        if (IsInterfaceName(name)) CopyText(link.name, sizeof link.name, name);
    }
    if (HasRoom(attributes[IFLA_MASTER], 4)) link.master = int(mnl_attr_get_u32(attributes[IFLA_MASTER]));
    if (HasRoom(attributes[IFLA_MTU], 4)) link.mtu = mnl_attr_get_u32(attributes[IFLA_MTU]);
    if (HasRoom(attributes[IFLA_ADDRESS], 6)) memcpy(link.mac, mnl_attr_get_payload(attributes[IFLA_ADDRESS]), 6);
    ReadLinkInfo(attributes[IFLA_LINKINFO], &link);
    if (!place && (place = FreePlace(s_table.links, &s_table.linkCount, kMaxLinks))) *place = {};
    if (!place) return false;
    link.speed = place->speed;
    if (memcmp(place, &link, sizeof link) == 0) return false;
    *place = link;
    return true;
}

static bool OnAddress(const nlmsghdr *message)
{
    if (mnl_nlmsg_get_payload_len(message) < sizeof(ifaddrmsg)) return false;
    const ifaddrmsg *header = static_cast<const ifaddrmsg *>(mnl_nlmsg_get_payload(message));
    const size_t size = header->ifa_family == AF_INET ? 4 : header->ifa_family == AF_INET6 ? 16 : 0;
    const nlattr *attributes[IFA_FLAGS + 1];
    CollectAttributes(message, sizeof *header, attributes, IFA_FLAGS);
    // On a connection of two ends IFA_ADDRESS is the other one.
    const nlattr *own = attributes[IFA_LOCAL] ? attributes[IFA_LOCAL] : attributes[IFA_ADDRESS];
    if (size == 0 || !HasRoom(own, size)) return false;
    Address address = {};
    address.index = int(header->ifa_index);
    address.family = header->ifa_family;
    address.prefix = header->ifa_prefixlen;
    const uint32_t flags =
        HasRoom(attributes[IFA_FLAGS], 4) ? mnl_attr_get_u32(attributes[IFA_FLAGS]) : header->ifa_flags;
    address.permanent = flags & IFA_F_PERMANENT;
    memcpy(address.bytes, mnl_attr_get_payload(own), size);
    Address *place = Find(s_table.addresses, s_table.addressCount, [&](const Address &other) {
        return other.index == address.index && other.family == address.family && other.prefix == address.prefix &&
               memcmp(other.bytes, address.bytes, sizeof other.bytes) == 0;
    });
    if (message->nlmsg_type == RTM_DELADDR) {
        if (place) place->index = 0;
        return place != nullptr;
    }
    if (!place) place = FreePlace(s_table.addresses, &s_table.addressCount, kMaxAddresses);
    if (!place) return false;
    *place = address;
    return true;
}

static bool OnRoute(const nlmsghdr *message)
{
    if (mnl_nlmsg_get_payload_len(message) < sizeof(rtmsg)) return false;
    const rtmsg *header = static_cast<const rtmsg *>(mnl_nlmsg_get_payload(message));
    if (header->rtm_family != AF_INET || header->rtm_dst_len != 0 || header->rtm_table != RT_TABLE_MAIN ||
        header->rtm_type != RTN_UNICAST)
        return false;
    const nlattr *attributes[RTA_MULTIPATH + 1];
    CollectAttributes(message, sizeof *header, attributes, RTA_MULTIPATH);
    Route route = {};
    const nlattr *interface = attributes[RTA_OIF], *gateway = attributes[RTA_GATEWAY];
    if (HasRoom(attributes[RTA_MULTIPATH], sizeof(rtnexthop)))
        route.index = static_cast<const rtnexthop *>(mnl_attr_get_payload(attributes[RTA_MULTIPATH]))->rtnh_ifindex;
    if (HasRoom(interface, 4)) route.index = int(mnl_attr_get_u32(interface));
    if (HasRoom(gateway, 4)) route.gateway = mnl_attr_get_u32(gateway);
    if (HasRoom(attributes[RTA_PRIORITY], 4)) route.metric = mnl_attr_get_u32(attributes[RTA_PRIORITY]);
    if (route.index <= 0) return false;
    Route *place = Find(s_table.routes, kMaxRoutes, [&](const Route &other) {
        return other.index == route.index && other.gateway == route.gateway && other.metric == route.metric;
    });
    if (message->nlmsg_type == RTM_DELROUTE) {
        if (place) place->index = 0;
        return place != nullptr;
    }
    size_t all = kMaxRoutes;
    if (!place) place = FreePlace(s_table.routes, &all, kMaxRoutes);
    if (!place) return false;
    *place = route;
    return true;
}

bool LinksOnMessage(const nlmsghdr *message)
{
    switch (message->nlmsg_type) {
    case RTM_NEWLINK:
    case RTM_DELLINK: return OnLink(message);
    case RTM_NEWADDR:
    case RTM_DELADDR: return OnAddress(message);
    case RTM_NEWROUTE:
    case RTM_DELROUTE: return OnRoute(message);
    default: return false;
    }
}

// ---- Questions ----

const Link *LinkByName(const char *name)
{
    return Find(s_table.links, s_table.linkCount, [&](const Link &link) { return strcmp(link.name, name) == 0; });
}

void SetLinkSpeed(int index, uint16_t mbps)
{
    Link *link = Find(s_table.links, s_table.linkCount, [&](const Link &other) { return other.index == index; });
    if (link) link->speed = mbps;
}

const Link *LinkByIndex(int index)
{
    return Find(s_table.links, s_table.linkCount, [&](const Link &link) { return link.index == index; });
}

const Link *LanLink(const Config *config)
{
    if (config->lan[0]) return LinkByName(config->lan);
    const Link *lan = nullptr;
    for (size_t i = 0; i < s_table.linkCount; i++) {
        const Link &link = s_table.links[i];
        if (link.index && link.isBridge && link.name[0] && (!lan || link.index < lan->index)) lan = &link;
    }
    return lan;
}

// The best default route that `fits`, or null: the one with the lowest metric.
template <typename Fits>
static const Route *BestRoute(Fits fits)
{
    const Route *best = nullptr;
    for (const Route &route : s_table.routes)
        if (route.index && fits(route) && (!best || route.metric < best->metric)) best = &route;
    return best;
}

uint16_t WanNames(const Config *config, char names[ROUTER_SDK_WANS][kMaxInterfaceName])
{
    uint16_t count = 0;
    for (; count < ROUTER_SDK_WANS && config->wans[count][0]; count++)
        CopyText(names[count], kMaxInterfaceName, config->wans[count]);
    if (count > 0) return count;
    while (count < ROUTER_SDK_WANS) {
        const Route *next = BestRoute([&](const Route &route) {
            const Link *link = LinkByIndex(route.index);
            if (!link || !link->name[0]) return false;
            for (uint16_t i = 0; i < count; i++)
                if (strcmp(names[i], link->name) == 0) return false;
            return true;
        });
        if (!next) break;
        CopyText(names[count++], kMaxInterfaceName, LinkByIndex(next->index)->name);
    }
    return count;
}

uint16_t PortNames(const Config *config, char names[ROUTER_SDK_LAN_PORTS][kMaxInterfaceName], bool (*isWireless)(int))
{
    uint16_t count = 0;
    for (; count < ROUTER_SDK_LAN_PORTS && config->ports[count][0]; count++)
        CopyText(names[count], kMaxInterfaceName, config->ports[count]);
    const Link *lan = LanLink(config);
    if (count > 0 || !lan) return count;
    if (!lan->isBridge) {
        CopyText(names[0], kMaxInterfaceName, lan->name);
        return 1;
    }
    for (size_t i = 0; i < s_table.linkCount; i++) {
        const Link &link = s_table.links[i];
        if (!link.index || link.master != lan->index || !link.name[0] || isWireless(link.index)) continue;
        uint16_t place = count; // where it stands by its name
        while (place > 0 && strcmp(names[place - 1], link.name) > 0) place--;
        if (place == ROUTER_SDK_LAN_PORTS) continue;
        if (count < ROUTER_SDK_LAN_PORTS) count++;
        memmove(names[place + 1], names[place], size_t(count - place - 1) * kMaxInterfaceName);
        CopyText(names[place], kMaxInterfaceName, link.name);
    }
    return count;
}

static uint32_t Netmask(uint8_t prefix)
{
    return prefix == 0 ? 0 : __builtin_bswap32(UINT32_MAX << (32 - std::min<int>(prefix, 32)));
}

bool FirstAddress(int index, uint32_t *ip, uint32_t *netmask, bool *permanent)
{
    const Address *address = Find(s_table.addresses, s_table.addressCount, [&](const Address &other) {
        return other.index == index && other.family == AF_INET;
    });
    if (!address) return false;
    memcpy(ip, address->bytes, sizeof *ip);
    *netmask = Netmask(address->prefix);
    if (permanent) *permanent = address->permanent;
    return true;
}

bool IsOwnAddress(int index, int family, const uint8_t *bytes)
{
    return Find(s_table.addresses, s_table.addressCount, [&](const Address &own) {
        return own.index == index && own.family == family && memcmp(own.bytes, bytes, family == AF_INET ? 4 : 16) == 0;
    });
}

bool IsInNetwork(int index, int family, const uint8_t *bytes)
{
    return Find(s_table.addresses, s_table.addressCount, [&](const Address &own) {
        if (own.index != index || own.family != family) return false;
        const size_t whole = own.prefix / 8;
        const uint8_t mask = uint8_t(0xFF00 >> own.prefix % 8);
        return memcmp(own.bytes, bytes, whole) == 0 && (!mask || ((own.bytes[whole] ^ bytes[whole]) & mask) == 0);
    });
}

bool DefaultGateway(int index, uint32_t *gateway)
{
    const Route *best = BestRoute([&](const Route &route) { return route.index == index; });
    if (best) *gateway = best->gateway;
    return best != nullptr;
}
