// MemberTables.h - which members of a state file are which fields of which record: one table per kind of record, for
// loading and saving, so the two cannot drift apart. A new member is a new row.
// State:    none.
// Threads:  constants.
#pragma once

#include <iterator>

#include "sdk/sim/Fields.h"
#include "sdk/sim/Household.h"

#define PLACE(record, member) uint16_t(offsetof(record, member)), uint16_t(sizeof(record::member))
#define TEXT(name, record, member)                                                                                     \
    {                                                                                                                  \
        name, FIELD_TEXT, PLACE(record, member), 0, 0, ""                                                              \
    }
#define NUMBER(name, record, member, min, max)                                                                         \
    {                                                                                                                  \
        name, FIELD_NUMBER, PLACE(record, member), min, max, ""                                                        \
    }
#define SWITCH(name, record, member)                                                                                   \
    {                                                                                                                  \
        name, FIELD_SWITCH, PLACE(record, member), 0, 0, ""                                                            \
    }
#define SWITCHES(name, record, member)                                                                                 \
    {                                                                                                                  \
        name, FIELD_SWITCHES, PLACE(record, member), 0, 0, ""                                                          \
    }
#define ADDRESS(name, record, member)                                                                                  \
    {                                                                                                                  \
        name, FIELD_ADDRESS, PLACE(record, member), 0, 0, ""                                                           \
    }
#define MAC(name, record, member)                                                                                      \
    {                                                                                                                  \
        name, FIELD_MAC, PLACE(record, member), 0, 0, ""                                                               \
    }
#define WORD(name, record, member, words)                                                                              \
    {                                                                                                                  \
        name, FIELD_WORD, PLACE(record, member), 0, 0, words                                                           \
    }
#define DATE(name, record, member)                                                                                     \
    {                                                                                                                  \
        name, FIELD_DATE, PLACE(record, member), 0, 0, ""                                                              \
    }

// The groups are objects of the document; their fields are members of the Household.
inline constexpr Field kRouter[] = {
    MAC("mac", Household, mac),
    TEXT("serial", Household, serial),
    TEXT("pin", Household, pin),
    TEXT("version", Household, version.text),
    DATE("version_date", Household, version.date),
    TEXT("vendor", Household, vendor),
    TEXT("model", Household, model),
    TEXT("name", Household, name),
    SWITCH("is_plug", Household, isPlug),
    SWITCH("ipv6", Household, ipv6),
    SWITCH("led", Household, led),
    NUMBER("uptime", Household, uptimeAtStart, 0, 3153600000),
    NUMBER("clock_offset", Household, clockOffset, -kMaxNumber, kMaxNumber),
    TEXT("redirection", Household, redirection),
    TEXT("rom_update", Household, romUpdate),
    TEXT("http_test_url", Household, httpTestUrl),
    SWITCHES("full_load", Household, fullLoad),
};

inline constexpr Field kCpu[] = {
    TEXT("model", Household, cpu.model),
    NUMBER("mhz", Household, cpu.mhz, 0, UINT16_MAX),
    NUMBER("cores", Household, cpu.cores, 1, UINT8_MAX),
};

inline constexpr Field kMemory[] = {
    NUMBER("kilobytes", Household, memory.kilobytes, 0, UINT32_MAX),
    TEXT("type", Household, memory.type),
};

inline constexpr Field kLan[] = {
    MAC("mac", Household, lan.mac),
    ADDRESS("ip", Household, lan.ip),
    ADDRESS("netmask", Household, lan.netmask),
    NUMBER("ports", Household, lanPorts, 0, ROUTER_SDK_LAN_PORTS),
};

inline constexpr Field kDns[] = {
    ADDRESS("primary", Household, dns[0]),
    ADDRESS("secondary", Household, dns[1]),
};

inline constexpr Field kWifi[] = {
    SWITCH("radio", Household, radio),
    SWITCH("wps", Household, wps),
    SWITCHES("modules", Household, modules),
};

inline constexpr Field kServices[] = {
    SWITCH("ftp", Household, ftp.on),
    TEXT("ftp_user", Household, ftp.user),
    TEXT("ftp_password", Household, ftp.password),
    SWITCH("samba", Household, samba.on),
    TEXT("samba_user", Household, samba.user),
    TEXT("samba_password", Household, samba.password),
    SWITCH("telnet", Household, telnet.on),
    TEXT("telnet_user", Household, telnet.user),
    TEXT("telnet_password", Household, telnet.password),
};

// Elements of the lists.
inline constexpr Field kWan[] = {
    WORD("mode", WanCfg, mode, "dhcp static pppoe bridge"),
    NUMBER("vlan", WanCfg, vlan, 0, 4095),
    NUMBER("mtu", WanCfg, mtu, 68, UINT16_MAX),
    TEXT("name", WanCfg, name),
    TEXT("user", WanCfg, user),
    TEXT("password", WanCfg, password),
    MAC("mac", WanCfg, mac),
    ADDRESS("ip", WanCfg, ip),
    ADDRESS("netmask", WanCfg, netmask),
    ADDRESS("gateway", WanCfg, gateway),
    ADDRESS("dns1", WanCfg, dns1),
    ADDRESS("dns2", WanCfg, dns2),
    NUMBER("services", WanCfg, services, 0, UINT16_MAX),
    SWITCH("connected", WanCfg, connected),
};

inline constexpr Field kSsid[] = {
    TEXT("ssid", SsidCfg, ssid),
    TEXT("key", SsidCfg, key),
    SWITCH("enabled", SsidCfg, enabled),
    SWITCH("hidden", SsidCfg, hidden),
    NUMBER("security", SsidCfg, security, 0, UINT16_MAX),
    NUMBER("bandwidth", SsidCfg, bandwidth, 0, 320),
    NUMBER("channel", SsidCfg, channel, 0, 196),
    ADDRESS("ip", SsidCfg, ip),
    ADDRESS("netmask", SsidCfg, netmask),
};

inline constexpr Field kNeighbour[] = {
    MAC("bssid", AdjWifi, bssid),
    TEXT("ssid", AdjWifi, ssid),
    TEXT("security", AdjWifi, security),
    NUMBER("rssi", AdjWifi, rssi, -200, 100),
    NUMBER("frequency", AdjWifi, frequency, 0, UINT32_MAX),
    NUMBER("channel", AdjWifi, channel, 0, 233),
    NUMBER("bandwidth", AdjWifi, bandwidth, 0, 320),
    NUMBER("load", AdjWifi, load, 0, 100),
};

inline constexpr Field kDevice[] = {
    MAC("mac", Device, mac),
    TEXT("name", Device, name),
    ADDRESS("ip", Device, ip),
    WORD("link", Device, link, "wired wifi_2g wifi_5g"),
    NUMBER("port", Device, port, 0, ROUTER_SDK_SSIDS - 1),
    SWITCH("access", Device, access),
    SWITCH("online", Device, onlineAtStart),
    NUMBER("speed", Device, speed, 1, UINT16_MAX),
    NUMBER("typical_up", Device, typicalUp, 0, UINT32_MAX),
    NUMBER("typical_down", Device, typicalDown, 0, UINT32_MAX),
    NUMBER("max_up", Device, maxUp, 0, kMaxNumber),
    NUMBER("max_down", Device, maxDown, 0, kMaxNumber),
};

struct Group {
    char name[16];
    const Field *fields;
    size_t count;
};

inline constexpr Group kGroups[] = {
    {"router", kRouter, std::size(kRouter)},
    {"cpu", kCpu, std::size(kCpu)},
    {"memory", kMemory, std::size(kMemory)},
    {"lan", kLan, std::size(kLan)},
    {"dns", kDns, std::size(kDns)},
    {"wifi", kWifi, std::size(kWifi)},
    {"services", kServices, std::size(kServices)},
};

#undef PLACE
#undef TEXT
#undef NUMBER
#undef SWITCH
#undef SWITCHES
#undef ADDRESS
#undef MAC
#undef WORD
#undef DATE
