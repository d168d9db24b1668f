// RecordLayouts.h - the records that several functions share, and those of lists.
// State: none; everything here is a constant. Threads: any.
#pragma once

#include "protocol/Layout.h"
#include "sdk/RouterSdk.h"

namespace protocol
{

constexpr const char *kNoYes[] = {"no", "yes"};
constexpr const char *kDownUp[] = {"down", "up"};
constexpr const char *kWanModes[] = {"dhcp", "static", "pppoe", "bridge"};
constexpr const char *kLinks[] = {"wired", "wifi-2g", "wifi-5g"};
constexpr const char *kAccess[] = {"refused", "allowed"};

constexpr FieldLayout kWanFields[] = {
    Number(Type::U16, "index", "", "the number of the WAN, from 0"),
    Named("mode", kWanModes, "how it gets its address"),
    Number(Type::U16, "vlan", "", "VLAN tag, 0 for none"),
    Number(Type::U16, "mtu", "bytes", "largest packet"),
    Text("name", 64, "name of the connection"),
    Text("user", 64, "PPPoE account, else empty"),
    Text("password", 64, "PPPoE password, else empty"),
    Mac("mac", "its MAC"),
    Ip("ip", "its address; this and the next four are 0.0.0.0 when there is none"),
    Ip("netmask", "its netmask"),
    Ip("gateway", "its gateway"),
    Ip("dns1", "first DNS server"),
    Ip("dns2", "second DNS server"),
    Number(Type::U16, "services", "", "services that use it, one bit each in the router's own numbering"),
    Named("connected", kNoYes, "whether it is connected"),
};
constexpr Layout kWan = {kWanFields, "WAN record"};

constexpr FieldLayout kSsidFields[] = {
    Number(Type::U16, "index", "", "the number of the SSID, from 0"),
    Text("ssid", 33, "its name, at most 32 bytes"),
    Text("key", 65, "pass phrase, or 64 hexadecimal digits; empty for an open network"),
    Switch("enabled", "whether it is on"),
    Named("hidden", kNoYes, "whether its name is not announced"),
    Opaque("reserved", 4, "as provided by the router"),
    Number(Type::U16, "security", "", "kind of protection in the router's own numbering, 0 for an open network"),
    Number(Type::U16, "bandwidth", "MHz", "width of the channel"),
    Number(Type::U16, "channel", "", "1 to 14 on 2.4 GHz, 36 and above on 5 GHz; 0 lets the router choose"),
    Ip("ip", "the router in a network of the SSID's own; 0.0.0.0 when it belongs to the LAN"),
    Ip("netmask", "of a network of its own, else 0.0.0.0"),
};
constexpr Layout kSsid = {kSsidFields, "SSID record"};

constexpr FieldLayout kDeviceFields[] = {
    Mac("mac", "its MAC, the key of device functions"),
    Text("name", 16, "the beginning of its name"),
    Opaque("reserved", 2, "as provided by the router"),
    Number(Type::U8, "changed", "", "filled in by the agent when access is changed: 1 with two servers, 0 with one"),
    Named("link", kLinks, "how it is connected"),
    Named("access", kAccess, "whether it may use the internet"),
    Opaque("reserved2", 1, "as provided by the router"),
    Number(Type::U16, "port", "", "wired: the LAN port, from 0; Wi-Fi: the index of the SSID"),
    Ip("ip", "its address"),
};
constexpr Layout kDevice = {kDeviceFields, "device record"};

constexpr FieldLayout kNeighbourFields[] = {
    Mac("bssid", "MAC of the access point"),
    Text("ssid", 33, "its name, empty when hidden"),
    Text("security", 21, "kind of protection, such as WPA2-PSK"),
    Number(Type::I32, "rssi", "dBm", "signal strength"),
    Number(Type::U32, "frequency", "kHz", "of its channel"),
    Number(Type::U16, "channel", "", "number of its channel"),
    Number(Type::U16, "bandwidth", "MHz", "width of its channel"),
    Number(Type::U16, "load", "%", "use of its channel"),
};
constexpr Layout kNeighbour = {kNeighbourFields, "neighbour record"};

constexpr FieldLayout kLanFields[] = {
    Mac("mac", "the router's MAC in the LAN"),
    Ip("ip", "its address"),
    Ip("netmask", "its netmask"),
};
constexpr Layout kLan = {kLanFields, "LAN record"};

constexpr FieldLayout kPortCounterFields[] = {
    Number(Type::U64, "up", "bytes", "received at the port, from the device"),
    Number(Type::U64, "down", "bytes", "sent at the port, to the device"),
};
constexpr Layout kPortCounters = {kPortCounterFields, "port record"};

// Lists of records with one field are lists of plain values.
constexpr FieldLayout kMacItemFields[] = {Mac("mac", "of the device")};
constexpr Layout kMacItem = {kMacItemFields};
constexpr FieldLayout kLinkItemFields[] = {Named("link", kDownUp, "of the link")};
constexpr Layout kLinkItem = {kLinkItemFields};

static_assert(FixedSize(kWan) == sizeof(WanCfg) && FixedSize(kSsid) == sizeof(SsidCfg), "as the router has them");
static_assert(FixedSize(kDevice) == sizeof(DevCfg) && FixedSize(kNeighbour) == sizeof(AdjWifi), "the same");
static_assert(FixedSize(kLan) == sizeof(LanCfg), "the same");

} // namespace protocol
