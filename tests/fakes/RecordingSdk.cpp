#include "tests/fakes/RecordingSdk.h"

#include <algorithm>
#include <cstring>
#include <mutex>

RecordingSdkState gSdk;
static std::mutex s_lock; // guards gSdk.calls against calls of several threads

void RecordingSdkReset()
{
    gSdk = RecordingSdkState();
}

namespace
{

struct Call {
    std::string name;
    std::string noted;
    int result;
    bool fills;
};

template <typename Value>
Value Find(const std::map<std::string, Value> &map, const Call &call, Value otherwise)
{
    for (const std::string &key : {call.noted, call.name}) {
        const auto found = map.find(key);
        if (found != map.end()) return found->second;
    }
    return otherwise;
}

template <typename... Arguments>
Call Note(const char *name, Arguments... arguments)
{
    Call call = {name, CallText(name, arguments...), 0, true};
    {
        const std::lock_guard<std::mutex> guard(s_lock);
        gSdk.calls.push_back(call.noted);
    }
    if (gSdk.onCall) gSdk.onCall(name);
    call.result = Find(gSdk.results, call, gSdk.result);
    call.fills = call.result == 0 || gSdk.careless;
    return call;
}

// The calls whose return value is the answer.
template <typename... Arguments>
uint64_t Figure(const char *name, Arguments... arguments)
{
    return Find<uint64_t>(gSdk.numbers, Note(name, arguments...), 0);
}

template <typename Number, typename... Arguments>
int FillNumber(Number *out, const char *name, Arguments... arguments)
{
    const Call call = Note(name, arguments...);
    if (call.fills) *out = static_cast<Number>(Find<uint64_t>(gSdk.numbers, call, 0));
    return call.result;
}

template <typename Value, typename... Arguments>
int FillRecord(Value *out, const Value &value, const char *name, Arguments... arguments)
{
    const Call call = Note(name, arguments...);
    if (call.fills) *out = value;
    return call.result;
}

int FillBytes(void *out, const void *bytes, size_t size, const char *name)
{
    const Call call = Note(name);
    if (call.fills && size > 0) memcpy(out, bytes, size);
    return call.result;
}

// Copies as much of the text as fits, unterminated when it fills the field: what a careless router does.
template <size_t size, typename... Arguments>
int FillText(char *out, const std::string &otherwise, const char *name, Arguments... arguments)
{
    const Call call = Note(name, arguments...);
    if (!call.fills) return call.result;
    std::string text = Find(gSdk.texts, call, otherwise);
    text.resize(size);
    memcpy(out, text.data(), size);
    return call.result;
}

template <typename Entry>
int FillList(void *out, size_t room, const std::vector<Entry> &list, uint16_t *count, const char *name)
{
    const Call call = Note(name);
    if (!call.fills) return call.result;
    const size_t size = std::min(room, list.size()) * sizeof(Entry);
    if (size > 0) memcpy(out, list.data(), size);
    *count = static_cast<uint16_t>(Find<uint64_t>(gSdk.numbers, call, list.size()));
    return call.result;
}

} // namespace

// ---- Shapes that many share ----

#define GET_NUMBER(name, type)                                                                                         \
    int name(type *out)                                                                                                \
    {                                                                                                                  \
        return FillNumber(out, #name);                                                                                 \
    }
#define GET_NUMBER_OF(name, type)                                                                                      \
    int name(uint16_t index, type *out)                                                                                \
    {                                                                                                                  \
        return FillNumber(out, #name, index);                                                                          \
    }
#define GET_RECORD(name, type, field)                                                                                  \
    int name(type *out)                                                                                                \
    {                                                                                                                  \
        return FillRecord(out, gSdk.field, #name);                                                                     \
    }
#define GET_TEXT(name, size)                                                                                           \
    int name(char text[size])                                                                                          \
    {                                                                                                                  \
        return FillText<size>(text, "", #name);                                                                        \
    }
#define GET_LIST(name, type, room, field)                                                                              \
    int name(type, uint16_t *count)                                                                                    \
    {                                                                                                                  \
        return FillList(list, room, gSdk.field, count, #name);                                                         \
    }
#define SET_VALUE(name, type)                                                                                          \
    int name(type value)                                                                                               \
    {                                                                                                                  \
        return Note(#name, value).result;                                                                              \
    }

// ---- The router as a whole ----

int get_router_mac(uint8_t mac[6])
{
    return FillBytes(mac, gSdk.mac, 6, "get_router_mac");
}

int get_router_sn(char sn[64])
{
    return FillText<64>(sn, gSdk.serial, "get_router_sn");
}

int get_router_is_plug(void)
{
    return static_cast<int>(Figure("get_router_is_plug"));
}

int get_router_support_ipv6(void)
{
    return static_cast<int>(Figure("get_router_support_ipv6"));
}

GET_TEXT(get_router_pin, 12)
GET_RECORD(get_router_version, RouterVersion, version)
GET_TEXT(get_router_vender, 64)
GET_TEXT(get_router_model, 64)
GET_RECORD(get_cpu_cfg, CpuCfg, cpu)
GET_RECORD(get_mem_cfg, MemCfg, memory)
GET_TEXT(get_name, 32)
SET_VALUE(set_name, const char *)
GET_NUMBER(get_cpu_use, uint16_t)
GET_NUMBER(get_mem_use, uint16_t)
GET_NUMBER(get_duration_time, uint64_t)
GET_NUMBER(get_flows_down_rate, uint64_t)
GET_NUMBER(get_flows_up_rate, uint64_t)
SET_VALUE(sync_time, uint64_t)
SET_VALUE(update_rom_version, const char *)
SET_VALUE(set_redirection, const char *)
SET_VALUE(set_http_test_url, const char *)

int restart(void)
{
    return Note("restart").result;
}

int set_full_load_enable(uint16_t selector, uint8_t on)
{
    return Note("set_full_load_enable", selector, on).result;
}

// ---- WAN and LAN ----

GET_NUMBER(get_wan_num, uint16_t)
GET_LIST(get_wans_cfg, WanCfg *list, ROUTER_SDK_WANS, wans)
GET_NUMBER_OF(get_wan_tcp_con_num, uint32_t)
GET_NUMBER_OF(get_wan_udp_con_num, uint32_t)
GET_NUMBER_OF(get_wan_receive_bytes, uint64_t)
GET_RECORD(get_lan_cfg, LanCfg, lan)
GET_NUMBER(get_lan_num, uint16_t)
GET_NUMBER_OF(get_lan_port_up_flow, uint64_t)
GET_NUMBER_OF(get_lan_port_down_flow, uint64_t)

int get_wan_cfg(uint16_t index, WanCfg *w)
{
    return FillRecord(w, gSdk.wan, "get_wan_cfg", index);
}

int get_wan_con_status(uint8_t *status)
{
    return FillBytes(status, gSdk.wanStatus.data(), gSdk.wanStatus.size(), "get_wan_con_status");
}

int get_lan_con_status(uint8_t *status)
{
    return FillBytes(status, gSdk.lanStatus.data(), gSdk.lanStatus.size(), "get_lan_con_status");
}

int get_dns(uint32_t *primary, uint32_t *secondary)
{
    const int result = FillRecord(primary, gSdk.dns[0], "get_dns");
    if (result == 0 || gSdk.careless) *secondary = gSdk.dns[1];
    return result;
}

int set_dns(uint32_t primary, uint32_t secondary)
{
    return Note("set_dns", ShownIp{primary}, ShownIp{secondary}).result;
}

// ---- Wi-Fi ----

GET_LIST(get_wlans_cfg, SsidCfg *list, ROUTER_SDK_SSIDS, ssids)
GET_NUMBER_OF(get_ssid_switch, uint8_t)
GET_NUMBER(get_wifi_radio_switch, uint8_t)
SET_VALUE(set_wifi_radio_switch, uint8_t)
GET_NUMBER_OF(get_wifi_module_status, uint8_t)
GET_NUMBER(get_wps_switch, uint8_t)
SET_VALUE(set_wps_switch, uint8_t)
GET_LIST(get_adj_wifi_devs, AdjWifi *list, ROUTER_SDK_ADJ_WIFI, neighbours)

int get_ssid_cfg(uint16_t index, SsidCfg *s)
{
    return FillRecord(s, gSdk.ssid, "get_ssid_cfg", index);
}

int set_ssid_cfg(const SsidCfg *s)
{
    return Note("set_ssid_cfg", ShownBytes{s, sizeof *s}).result;
}

int set_ssid_switch(uint16_t index, uint8_t on)
{
    return Note("set_ssid_switch", index, on).result;
}

// ---- Lights and services ----

GET_NUMBER(get_led_switch, uint8_t)
SET_VALUE(set_led_switch, uint8_t)
GET_NUMBER(get_ftp_switch, uint8_t)
SET_VALUE(set_ftp_switch, uint8_t)
GET_NUMBER(get_sambaenable_switch, uint8_t)
SET_VALUE(set_sambaenable_switch, uint8_t)
GET_NUMBER(get_telnetenable_switch, uint8_t)
SET_VALUE(set_telnetenable_switch, uint8_t)
GET_TEXT(get_ftp_user, 16)
SET_VALUE(set_ftp_user, const char *)
GET_TEXT(get_ftp_password, 16)
SET_VALUE(set_ftp_password, const char *)
GET_TEXT(get_samba_user, 16)
SET_VALUE(set_samba_user, const char *)
GET_TEXT(get_samba_password, 16)
SET_VALUE(set_samba_password, const char *)
GET_TEXT(get_telnet_user, 16)
SET_VALUE(set_telnet_user, const char *)
GET_TEXT(get_telnet_password, 16)
SET_VALUE(set_telnet_password, const char *)

// ---- Devices ----

GET_LIST(get_devs_cfg, DevCfg *list, ROUTER_SDK_DEVICES, devices)
GET_LIST(get_dev_black_list, uint8_t (*list)[6], ROUTER_SDK_BLACK_LIST, blackList)

int get_dev_cfg(DevCfg *d, const uint8_t mac[6])
{
    return FillRecord(d, gSdk.device, "get_dev_cfg", ShownMac{mac});
}

int set_dev_access_control(DevCfg d)
{
    return Note("set_dev_access_control", ShownBytes{&d, sizeof d}).result;
}

int get_dev_name(const uint8_t mac[6], char name[64])
{
    return FillText<64>(name, "", "get_dev_name", ShownMac{mac});
}

int set_dev_name(const uint8_t mac[6], const char *name)
{
    return Note("set_dev_name", ShownMac{mac}, name).result;
}

uint64_t get_dev_us_bw(const uint8_t mac[6])
{
    return Figure("get_dev_us_bw", ShownMac{mac});
}

uint64_t get_dev_ds_bw(const uint8_t mac[6])
{
    return Figure("get_dev_ds_bw", ShownMac{mac});
}

int get_dev_us_max_bw(const uint8_t mac[6], int64_t *limit)
{
    return FillNumber(limit, "get_dev_us_max_bw", ShownMac{mac});
}

int get_dev_ds_max_bw(const uint8_t mac[6], int64_t *limit)
{
    return FillNumber(limit, "get_dev_ds_max_bw", ShownMac{mac});
}

int set_dev_us_max_bw(const uint8_t mac[6], int64_t limit)
{
    return Note("set_dev_us_max_bw", ShownMac{mac}, limit).result;
}

int set_dev_ds_max_bw(const uint8_t mac[6], int64_t limit)
{
    return Note("set_dev_ds_max_bw", ShownMac{mac}, limit).result;
}

int get_dev_speed(const uint8_t mac[6], uint16_t which, uint16_t *mbps)
{
    return FillNumber(mbps, "get_dev_speed", ShownMac{mac}, which);
}
