// The functions about WAN, LAN and Wi-Fi.
#include "sdk/sim/Call.h"
#include "sdk/sim/Copies.h"
#include "sdk/sim/Traffic.h"

// Many queries are "one thing by its number, or unknown": `fill` sees only numbers below the `count` of the household.
template <typename Fill>
static int AskByNumber(const char *function, const char *name, uint16_t number, uint16_t Household::*count, Fill fill)
{
    ArgumentText arguments;
    return Ask(function, AddNumber(arguments, name, number), [&](Household &home) -> int {
        if (number >= home.*count) return SIM_UNKNOWN;
        fill(home);
        return SIM_OK;
    });
}

// A count, or a whole list with its count.
static int AskCount(const char *function, uint16_t *count, uint16_t Household::*member)
{
    return Ask(function, ArgumentText(), [&](Household &home) -> int {
        *count = home.*member;
        return SIM_OK;
    });
}

template <typename Record, size_t N>
static int AskList(const char *function, Record *list, uint16_t *count, Record (Household::*records)[N],
                   uint16_t Household::*used)
{
    return Ask(function, ArgumentText(), [&](Household &home) -> int {
        memcpy(list, home.*records, home.*used * sizeof(Record));
        *count = home.*used;
        return SIM_OK;
    });
}

// ---- WAN ----

int get_wan_num(uint16_t *count)
{
    return AskCount(__func__, count, &Household::wanCount);
}

int get_wan_cfg(uint16_t index, WanCfg *w)
{
    return AskByNumber(__func__, "index", index, &Household::wanCount, [&](Household &home) { *w = home.wans[index]; });
}

int get_wans_cfg(WanCfg *w, uint16_t *count)
{
    return AskList(__func__, w, count, &Household::wans, &Household::wanCount);
}

int get_wan_tcp_con_num(uint16_t index, uint32_t *n)
{
    return AskByNumber(__func__, "index", index, &Household::wanCount,
                       [&](Household &home) { *n = Connections(&home, index, 0); });
}

int get_wan_udp_con_num(uint16_t index, uint32_t *n)
{
    return AskByNumber(__func__, "index", index, &Household::wanCount,
                       [&](Household &home) { *n = Connections(&home, index, 1); });
}

int get_wan_receive_bytes(uint16_t index, uint64_t *n)
{
    return AskByNumber(__func__, "index", index, &Household::wanCount,
                       [&](Household &home) { *n = WanReceivedBytes(&home, index); });
}

int get_wan_con_status(uint8_t *status)
{
    return Ask(__func__, ArgumentText(), [&](Household &home) -> int {
        for (uint16_t i = 0; i < home.wanCount; i++) status[i] = home.wans[i].connected;
        return SIM_OK;
    });
}

int get_dns(uint32_t *primary, uint32_t *secondary)
{
    return Ask(__func__, ArgumentText(), [&](Household &home) -> int {
        *primary = home.dns[0];
        *secondary = home.dns[1];
        return SIM_OK;
    });
}

int set_dns(uint32_t primary, uint32_t secondary)
{
    ArgumentText arguments;
    AddIp(arguments, "primary", primary);
    return Change(__func__, AddIp(arguments, "secondary", secondary), [&](Household &home) -> int {
        home.dns[0] = primary;
        home.dns[1] = secondary;
        return SIM_OK;
    });
}

// ---- LAN ----

int get_lan_cfg(LanCfg *l)
{
    return Ask(__func__, ArgumentText(), [&](Household &home) -> int {
        *l = home.lan;
        return SIM_OK;
    });
}

int get_lan_num(uint16_t *count)
{
    return AskCount(__func__, count, &Household::lanPorts);
}

int get_lan_con_status(uint8_t *status)
{
    return Ask(__func__, ArgumentText(), [&](Household &home) -> int {
        memset(status, 0, home.lanPorts);
        for (uint16_t i = 0; i < home.deviceCount; i++) {
            const Device *device = &home.devices[i];
            const bool wired = device->link == ROUTER_LINK_WIRED && DeviceIsThere(&home, device);
            if (wired && device->port < home.lanPorts) status[device->port] = 1;
        }
        return SIM_OK;
    });
}

int get_lan_port_up_flow(uint16_t port, uint64_t *bytes)
{
    return AskByNumber(__func__, "port", port, &Household::lanPorts,
                       [&](Household &home) { *bytes = LanPortBytes(&home, port, 1); });
}

int get_lan_port_down_flow(uint16_t port, uint64_t *bytes)
{
    return AskByNumber(__func__, "port", port, &Household::lanPorts,
                       [&](Household &home) { *bytes = LanPortBytes(&home, port, 0); });
}

// ---- Wi-Fi ----

int get_wlans_cfg(SsidCfg *s, uint16_t *count)
{
    return AskList(__func__, s, count, &Household::ssids, &Household::ssidCount);
}

int get_ssid_cfg(uint16_t index, SsidCfg *s)
{
    return AskByNumber(__func__, "index", index, &Household::ssidCount,
                       [&](Household &home) { *s = home.ssids[index]; });
}

static int CheckSsid(const SsidCfg *ssid)
{
    const size_t keyLength = strnlen(ssid->key, sizeof ssid->key);
    if (keyLength == sizeof ssid->key || strnlen(ssid->ssid, sizeof ssid->ssid) == sizeof ssid->ssid)
        return SIM_TOO_LONG;
    if (!ssid->ssid[0] || (keyLength > 0 && keyLength < 8)) return SIM_BAD_VALUE; // WPA has keys from 8 characters
    if (ssid->enabled > 1 || ssid->hidden > 1 || ssid->channel > 196 || ssid->bandwidth > 320) return SIM_BAD_VALUE;
    return SIM_OK;
}

int set_ssid_cfg(const SsidCfg *s)
{
    ArgumentText arguments;
    return Change(__func__, AddSsid(arguments, *s), [&](Household &home) -> int {
        if (s->index >= home.ssidCount) return SIM_UNKNOWN;
        const int problem = CheckSsid(s);
        if (problem == SIM_OK) home.ssids[s->index] = *s;
        return problem;
    });
}

int get_ssid_switch(uint16_t index, uint8_t *on)
{
    return AskByNumber(__func__, "index", index, &Household::ssidCount,
                       [&](Household &home) { *on = home.ssids[index].enabled; });
}

int set_ssid_switch(uint16_t index, uint8_t on)
{
    ArgumentText arguments;
    AddNumber(arguments, "index", index);
    return Change(__func__, AddNumber(arguments, "on", on), [&](Household &home) -> int {
        return index < home.ssidCount ? TakeSwitch(&home.ssids[index].enabled, on) : int(SIM_UNKNOWN);
    });
}

SWITCH_GETTER(get_wifi_radio_switch, radio)
SWITCH_SETTER(set_wifi_radio_switch, radio)
SWITCH_GETTER(get_wps_switch, wps)
SWITCH_SETTER(set_wps_switch, wps)

int get_wifi_module_status(uint16_t module, uint8_t *status)
{
    ArgumentText arguments;
    return Ask(__func__, AddNumber(arguments, "module", module), [&](Household &home) -> int {
        if (module >= sizeof home.modules) return SIM_UNKNOWN;
        *status = home.radio && home.modules[module];
        return SIM_OK;
    });
}

int get_adj_wifi_devs(AdjWifi *a, uint16_t *count)
{
    return AskList(__func__, a, count, &Household::neighbours, &Household::neighbourCount);
}
