#include "sdk/linux/wifi/Nl80211.h"

#include <algorithm>
#include <cstring>
#include <linux/genetlink.h>
#include <linux/nl80211.h>
#include <sys/socket.h>

#include "sdk/linux/links/Netlink.h"

static const char *const kGroups[] = {"config", "scan", "mlme"};
static const size_t kGroupCount = sizeof kGroups / sizeof *kGroups;

namespace
{
struct Family {
    uint16_t number; // 0: there is none
    int groups[kGroupCount];
};
} // namespace

static Family s_family;

// ---- Sockets ----

static int OnFamily(const nlmsghdr *message, void *user)
{
    Family *family = static_cast<Family *>(user);
    const nlattr *attributes[CTRL_ATTR_MCAST_GROUPS + 1];
    CollectAttributes(message, sizeof(genlmsghdr), attributes, CTRL_ATTR_MCAST_GROUPS);
    if (!HasRoom(attributes[CTRL_ATTR_FAMILY_ID], 2)) return MNL_CB_OK;
    family->number = mnl_attr_get_u16(attributes[CTRL_ATTR_FAMILY_ID]);
    ForEachNested(attributes[CTRL_ATTR_MCAST_GROUPS], [&](const nlattr *group) {
        const nlattr *parts[CTRL_ATTR_MCAST_GRP_ID + 1];
        CollectNested(group, parts, CTRL_ATTR_MCAST_GRP_ID);
        if (!HasRoom(parts[CTRL_ATTR_MCAST_GRP_ID], 4) || !HasRoom(parts[CTRL_ATTR_MCAST_GRP_NAME], 1)) return;
        for (size_t i = 0; i < kGroupCount; i++)
            if (strncmp(mnl_attr_get_str(parts[CTRL_ATTR_MCAST_GRP_NAME]), kGroups[i],
                        mnl_attr_get_payload_len(parts[CTRL_ATTR_MCAST_GRP_NAME])) == 0)
                family->groups[i] = int(mnl_attr_get_u32(parts[CTRL_ATTR_MCAST_GRP_ID]));
    });
    return MNL_CB_OK;
}

bool Nl80211Open(mnl_socket **questions, mnl_socket **events)
{
    *events = nullptr;
    *questions = NetlinkOpen(NETLINK_GENERIC, nullptr, 0);
    if (!*questions) return false;
    alignas(nlmsghdr) char buffer[128];
    nlmsghdr *request = mnl_nlmsg_put_header(buffer);
    request->nlmsg_type = GENL_ID_CTRL;
    request->nlmsg_flags = NLM_F_REQUEST | NLM_F_ACK;
    genlmsghdr *header = static_cast<genlmsghdr *>(mnl_nlmsg_put_extra_header(request, sizeof *header));
    header->cmd = CTRL_CMD_GETFAMILY;
    header->version = 1;
    mnl_attr_put_strz(request, CTRL_ATTR_FAMILY_NAME, NL80211_GENL_NAME);
    s_family = {};
    if (NetlinkAsk(*questions, request, OnFamily, &s_family) == 0 && s_family.number)
        *events = NetlinkOpen(NETLINK_GENERIC, s_family.groups, kGroupCount);
    if (*events) return true;
    mnl_socket_close(*questions);
    *questions = nullptr;
    return false;
}

bool Nl80211Dump(mnl_socket *questions, int command, int index, mnl_cb_t callback, void *user)
{
    alignas(nlmsghdr) char buffer[64];
    nlmsghdr *request = mnl_nlmsg_put_header(buffer);
    request->nlmsg_type = s_family.number;
    request->nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    genlmsghdr *header = static_cast<genlmsghdr *>(mnl_nlmsg_put_extra_header(request, sizeof *header));
    header->cmd = uint8_t(command);
    if (index > 0) mnl_attr_put_u32(request, NL80211_ATTR_IFINDEX, uint32_t(index));
    return NetlinkAsk(questions, request, callback, user) == 0;
}

// ---- Interfaces and stations ----

static uint16_t WidthOf(uint32_t width)
{
    switch (width) {
    case NL80211_CHAN_WIDTH_40: return 40;
    case NL80211_CHAN_WIDTH_80:
    case NL80211_CHAN_WIDTH_80P80: return 80;
    case NL80211_CHAN_WIDTH_160: return 160;
    default: return 20;
    }
}

bool ReadRadio(const nlmsghdr *message, Radio *radio)
{
    const nlattr *attributes[NL80211_ATTR_CHANNEL_WIDTH + 1];
    CollectAttributes(message, sizeof(genlmsghdr), attributes, NL80211_ATTR_CHANNEL_WIDTH);
    const nlattr *name = attributes[NL80211_ATTR_IFNAME], *type = attributes[NL80211_ATTR_IFTYPE];
    if (!HasRoom(attributes[NL80211_ATTR_IFINDEX], 4) || !HasRoom(name, 1) || !HasRoom(type, 4)) return false;
    if (mnl_attr_get_u32(type) != NL80211_IFTYPE_AP) return false;
    *radio = {};
    radio->index = int(mnl_attr_get_u32(attributes[NL80211_ATTR_IFINDEX]));
    memcpy(radio->name, mnl_attr_get_payload(name),
           std::min<size_t>(mnl_attr_get_payload_len(name), sizeof radio->name - 1));
    if (HasRoom(attributes[NL80211_ATTR_WIPHY_FREQ], 4))
        radio->frequency = mnl_attr_get_u32(attributes[NL80211_ATTR_WIPHY_FREQ]);
    radio->width = 20;
    if (HasRoom(attributes[NL80211_ATTR_CHANNEL_WIDTH], 4))
        radio->width = WidthOf(mnl_attr_get_u32(attributes[NL80211_ATTR_CHANNEL_WIDTH]));
    return IsInterfaceName(radio->name);
}

// A rate in Mbit/s; the kernel tells tenths.
static uint16_t RateOf(const nlattr *nest)
{
    const nlattr *rate[NL80211_RATE_INFO_BITRATE32 + 1];
    CollectNested(nest, rate, NL80211_RATE_INFO_BITRATE32);
    uint32_t tenths = 0;
    if (HasRoom(rate[NL80211_RATE_INFO_BITRATE], 2)) tenths = mnl_attr_get_u16(rate[NL80211_RATE_INFO_BITRATE]);
    if (HasRoom(rate[NL80211_RATE_INFO_BITRATE32], 4)) tenths = mnl_attr_get_u32(rate[NL80211_RATE_INFO_BITRATE32]);
    return uint16_t(std::min<uint32_t>(tenths / 10, UINT16_MAX));
}

bool ReadStation(const nlmsghdr *message, Station *station)
{
    const nlattr *attributes[NL80211_ATTR_STA_INFO + 1];
    CollectAttributes(message, sizeof(genlmsghdr), attributes, NL80211_ATTR_STA_INFO);
    if (!HasRoom(attributes[NL80211_ATTR_IFINDEX], 4) || !HasRoom(attributes[NL80211_ATTR_MAC], 6)) return false;
    *station = {};
    station->radio = int(mnl_attr_get_u32(attributes[NL80211_ATTR_IFINDEX]));
    memcpy(station->mac, mnl_attr_get_payload(attributes[NL80211_ATTR_MAC]), sizeof station->mac);
    const nlattr *info[NL80211_STA_INFO_RX_BITRATE + 1];
    CollectNested(attributes[NL80211_ATTR_STA_INFO], info, NL80211_STA_INFO_RX_BITRATE);
    station->receive = RateOf(info[NL80211_STA_INFO_TX_BITRATE]); // what the access point sends, the station receives
    station->transmit = RateOf(info[NL80211_STA_INFO_RX_BITRATE]);
    return IsDeviceMac(station->mac);
}

// ---- Scan ----

uint16_t ChannelOf(uint32_t frequency)
{
    if (frequency == 2484) return 14;
    if (frequency >= 2412 && frequency <= 2472) return uint16_t((frequency - 2407) / 5);
    if (frequency >= 5160 && frequency <= 5885) return uint16_t((frequency - 5000) / 5);
    if (frequency >= 5955 && frequency <= 7115) return uint16_t((frequency - 5950) / 5);
    return 0;
}

// The kind of key exchange in the element of WPA2 and WPA3.
static const char *SecurityOf(const uint8_t *element, size_t length)
{
    // Version (2), group cipher (4), number of pairwise ciphers (2) and these (4 each), number of exchanges (2), these.
    if (length < 8) return "WPA2";
    const size_t ciphers = size_t(element[6] | element[7] << 8) * 4;
    if (length < 8 + ciphers + 6) return "WPA2";
    switch (element[8 + ciphers + 5]) {
    case 1: return "WPA2-EAP";
    case 2:
    case 6: return "WPA2-PSK";
    case 8: return "WPA3-SAE";
    default: return "WPA2";
    }
}

static void ReadElements(const uint8_t *elements, size_t length, AdjWifi *neighbour)
{
    static const uint8_t wpa[] = {0x00, 0x50, 0xF2, 0x01};
    const char *security = nullptr;
    while (length >= 2 && length - 2 >= elements[1]) {
        const uint8_t *data = elements + 2;
        const size_t size = elements[1];
        switch (elements[0]) {
        case 0: // SSID
            if (size < sizeof neighbour->ssid) memcpy(neighbour->ssid, data, size);
            break;
        case 11: // load: stations (2), use of the channel in parts of 255
            if (size >= 3) neighbour->load = uint16_t(data[2] * 100 / 255);
            break;
        case 48: security = SecurityOf(data, size); break;
        case 61: // HT: a second channel above or below
            if (size >= 2 && (data[1] & 3) && neighbour->bandwidth < 40) neighbour->bandwidth = 40;
            break;
        case 192: // VHT
            if (size >= 1 && data[0] > 0) neighbour->bandwidth = data[0] == 2 ? 160 : 80;
            break;
        case 221:
            if (size >= sizeof wpa && memcmp(data, wpa, sizeof wpa) == 0 && !security) security = "WPA-PSK";
            break;
        default: break;
        }
        elements += 2 + size;
        length -= 2 + size;
    }
    if (security) CopyText(neighbour->security, sizeof neighbour->security, security);
}

bool ReadScan(const nlmsghdr *message, AdjWifi *neighbour)
{
    const nlattr *attributes[NL80211_ATTR_BSS + 1];
    const nlattr *bss[NL80211_BSS_SIGNAL_MBM + 1];
    CollectAttributes(message, sizeof(genlmsghdr), attributes, NL80211_ATTR_BSS);
    CollectNested(attributes[NL80211_ATTR_BSS], bss, NL80211_BSS_SIGNAL_MBM);
    if (!HasRoom(bss[NL80211_BSS_BSSID], 6) || !HasRoom(bss[NL80211_BSS_FREQUENCY], 4)) return false;
    *neighbour = {};
    memcpy(neighbour->bssid, mnl_attr_get_payload(bss[NL80211_BSS_BSSID]), sizeof neighbour->bssid);
    const uint32_t frequency = mnl_attr_get_u32(bss[NL80211_BSS_FREQUENCY]);
    neighbour->frequency = frequency * 1000;
    neighbour->channel = ChannelOf(frequency);
    neighbour->bandwidth = 20;
    if (HasRoom(bss[NL80211_BSS_SIGNAL_MBM], 4))
        neighbour->rssi = int32_t(mnl_attr_get_u32(bss[NL80211_BSS_SIGNAL_MBM])) / 100;
    static const uint16_t privacy = 0x10;
    const bool locked =
        HasRoom(bss[NL80211_BSS_CAPABILITY], 2) && (mnl_attr_get_u16(bss[NL80211_BSS_CAPABILITY]) & privacy);
    CopyText(neighbour->security, sizeof neighbour->security, locked ? "WEP" : "OPEN");
    const nlattr *elements = bss[NL80211_BSS_INFORMATION_ELEMENTS];
    if (elements)
        ReadElements(static_cast<const uint8_t *>(mnl_attr_get_payload(elements)), mnl_attr_get_payload_len(elements),
                     neighbour);
    return true;
}
