#include "tests/unit/linux_router/Messages.h"

#include <cstring>
#include <linux/if_addr.h>
#include <linux/if_link.h>
#include <linux/neighbour.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <sys/socket.h>

Bytes operator+(const Bytes &a, const Bytes &b)
{
    Bytes all = a;
    all.insert(all.end(), b.begin(), b.end());
    return all;
}

Bytes Attribute(uint16_t type, const Bytes &payload)
{
    Bytes all = Number(payload.size() + 4, 2) + Number(type, 2) + payload;
    while (all.size() % 4 != 0) all.push_back(0);
    return all;
}

Bytes Number(uint64_t value, size_t size)
{
    const Bytes all = Raw(value);
    return Bytes(all.begin(), all.begin() + long(size)); // little-endian, as the contract says
}

Bytes Big(uint64_t value)
{
    Bytes all;
    for (int shift = 56; shift >= 0; shift -= 8) all.push_back(uint8_t(value >> shift));
    return all;
}

Bytes Text(const std::string &text)
{
    return Bytes(text.begin(), text.end()) + Bytes{0};
}

Message::Message(uint16_t type, const Bytes &payload, uint32_t sender)
{
    nlmsghdr header = {};
    header.nlmsg_len = uint32_t(sizeof header + payload.size());
    header.nlmsg_type = type;
    header.nlmsg_pid = sender;
    const Bytes all = Raw(header) + payload;
    mWords.resize(all.size() / 8 + 1);
    memcpy(mWords.data(), all.data(), all.size());
}

Message Message::CutTo(size_t length) const
{
    const uint8_t *bytes = reinterpret_cast<const uint8_t *>(Get());
    Bytes payload;
    for (size_t i = sizeof(nlmsghdr); i < length; i++) payload.push_back(bytes[i]);
    return Message(Get()->nlmsg_type, payload, Get()->nlmsg_pid);
}

Message LinkMessage(int index, const std::string &name, bool up, int master, const std::string &kind)
{
    ifinfomsg header = {};
    header.ifi_index = index;
    header.ifi_type = 1;
    header.ifi_flags = up ? IFF_UP | IFF_RUNNING : IFF_UP;
    Bytes payload = Raw(header) + Attribute(IFLA_IFNAME, Text(name)) + Attribute(IFLA_MTU, Number(1500, 4)) +
                    Attribute(IFLA_ADDRESS, {2, 0, 0, 1, 0, uint8_t(index)});
    if (master) payload = payload + Attribute(IFLA_MASTER, Number(uint32_t(master), 4));
    if (!kind.empty()) payload = payload + Attribute(IFLA_LINKINFO, Attribute(IFLA_INFO_KIND, Text(kind)));
    return Message(RTM_NEWLINK, payload);
}

Message WirelessNews(int index, const std::string &name)
{
    ifinfomsg header = {};
    header.ifi_index = index;
    header.ifi_type = 1;
    header.ifi_flags = IFF_UP | IFF_RUNNING;
    return Message(RTM_NEWLINK,
                   Raw(header) + Attribute(IFLA_IFNAME, Text(name)) + Attribute(IFLA_WIRELESS, Bytes(16, 0)));
}

Message LinkGone(int index)
{
    ifinfomsg header = {};
    header.ifi_index = index;
    return Message(RTM_DELLINK, Raw(header));
}

Message AddressMessage(int index, const Bytes &address, uint8_t prefix, bool permanent)
{
    ifaddrmsg header = {};
    header.ifa_family = address.size() == 4 ? AF_INET : AF_INET6;
    header.ifa_index = uint32_t(index);
    header.ifa_prefixlen = prefix;
    return Message(RTM_NEWADDR, Raw(header) + Attribute(IFA_LOCAL, address) +
                                    Attribute(IFA_FLAGS, Number(permanent ? IFA_F_PERMANENT : 0, 4)));
}

Message RouteMessage(int index, const Bytes &gateway, uint32_t metric)
{
    rtmsg header = {};
    header.rtm_family = AF_INET;
    header.rtm_table = RT_TABLE_MAIN;
    header.rtm_type = RTN_UNICAST;
    return Message(RTM_NEWROUTE, Raw(header) + Attribute(RTA_OIF, Number(uint32_t(index), 4)) +
                                     Attribute(RTA_GATEWAY, gateway) + Attribute(RTA_PRIORITY, Number(metric, 4)));
}

Message BridgeMessage(const Bytes &mac, int port, int bridge, bool gone)
{
    ndmsg header = {};
    header.ndm_family = AF_BRIDGE;
    header.ndm_ifindex = port;
    header.ndm_state = NUD_REACHABLE;
    return Message(gone ? RTM_DELNEIGH : RTM_NEWNEIGH,
                   Raw(header) + Attribute(NDA_LLADDR, mac) + Attribute(NDA_MASTER, Number(uint32_t(bridge), 4)));
}

Message NeighbourMessage(int lan, const Bytes &address, const Bytes &mac, uint16_t state, uint32_t confirmed, bool gone)
{
    ndmsg header = {};
    header.ndm_family = address.size() == 4 ? AF_INET : AF_INET6;
    header.ndm_ifindex = lan;
    header.ndm_state = state;
    nda_cacheinfo ages = {};
    ages.ndm_confirmed = confirmed;
    return Message(gone ? RTM_DELNEIGH : RTM_NEWNEIGH, Raw(header) + Attribute(NDA_DST, address) +
                                                           Attribute(NDA_LLADDR, mac) +
                                                           Attribute(NDA_CACHEINFO, Raw(ages)));
}
