// The functions about Wi-Fi. What hostapd keeps is asked there; what the neighbours send is answered from memory.
#include "sdk/RouterSdk.h"

#include <cstring>

#include "sdk/linux/base/Result.h"
#include "sdk/linux/cache/Cache.h"
#include "sdk/linux/cache/Devices.h"
#include "sdk/linux/links/Links.h"
#include "sdk/linux/settings/Settings.h"
#include "sdk/linux/wifi/Hostapd.h"
#include "sdk/linux/wifi/Networks.h"
#include "sdk/linux/wifi/Radios.h"

// The sockets of all networks. Returns RESULT_OK or RESULT_BAD_KEY.
static int ReadSockets(SocketPaths paths, uint16_t *count)
{
    StartRouter();
    const int result = KeyIsRight(TheConfig(), KEY_HOSTAPD);
    if (result == RESULT_OK) *count = HostapdSockets(TheConfig(), paths);
    return result;
}

// The socket of one network. Returns RESULT_OK, RESULT_BAD_KEY or RESULT_UNKNOWN.
static int ReadSocket(uint16_t index, char path[kSocketPath])
{
    SocketPaths paths;
    uint16_t count;
    const int result = ReadSockets(paths, &count);
    if (result != RESULT_OK) return result;
    if (index >= count) return RESULT_UNKNOWN;
    memcpy(path, paths[index], kSocketPath);
    return RESULT_OK;
}

// ---- Networks ----

// Adds what the kernel and the settings know to what hostapd tells.
static int ReadNetwork(uint16_t index, const char *path, SsidCfg *ssid)
{
    SsidCfg answer = {};
    const int result = HostapdRead(path, &answer, nullptr);
    if (result != RESULT_OK) return result;
    answer.index = index;
    answer.bandwidth = 20;
    const char *interface = InterfaceOf(path);
    {
        Lock lock(DevicesLock());
        for (const SsidSettings &settings : TheState()->ssids) {
            if (!settings.hasRecord || strcmp(settings.interface, interface) != 0) continue;
            CopyText(answer.key, sizeof answer.key, settings.key);
            answer.hidden = settings.hidden;
        }
    }
    Lock lock(CacheLock());
    const Link *link = LinkByName(interface), *lan = LanLink(TheConfig());
    const Radio *radio = link ? RadioByIndex(link->index) : nullptr;
    if (radio) answer.bandwidth = radio->width;
    uint32_t ip, netmask;
    if (link && lan && link->master != lan->index && FirstAddress(link->index, &ip, &netmask, nullptr)) {
        answer.ip = ip;
        answer.netmask = netmask;
    }
    *ssid = answer;
    return RESULT_OK;
}

int get_wlans_cfg(SsidCfg *s, uint16_t *count)
{
    SocketPaths paths;
    SsidCfg ssids[ROUTER_SDK_SSIDS];
    uint16_t all;
    int result = ReadSockets(paths, &all);
    for (uint16_t i = 0; result == RESULT_OK && i < all; i++) result = ReadNetwork(i, paths[i], &ssids[i]);
    if (result != RESULT_OK) return result;
    memcpy(s, ssids, all * sizeof *s);
    *count = all;
    return RESULT_OK;
}

int get_ssid_cfg(uint16_t index, SsidCfg *s)
{
    char path[kSocketPath];
    const int result = ReadSocket(index, path);
    return result == RESULT_OK ? ReadNetwork(index, path, s) : result;
}

int set_ssid_cfg(const SsidCfg *s)
{
    char path[kSocketPath];
    const int result = ReadSocket(s->index, path);
    if (result != RESULT_OK) return result;
    SsidSettings settings = {};
    // The platform's bytes may fill their fields.
    memcpy(settings.ssid, s->ssid, strnlen(s->ssid, sizeof s->ssid - 1));
    memcpy(settings.key, s->key, strnlen(s->key, sizeof s->key - 1));
    if (strnlen(s->ssid, sizeof s->ssid) == sizeof s->ssid || strnlen(s->key, sizeof s->key) == sizeof s->key)
        return RESULT_TOO_LONG;
    if (s->enabled > 1 || s->hidden > 1 || s->channel > 233) return RESULT_BAD_VALUE;
    settings.hasRecord = settings.hasSwitch = 1;
    settings.on = s->enabled;
    settings.open = s->security == 0;
    if (settings.open) memset(settings.key, 0, sizeof settings.key);
    settings.hidden = s->hidden;
    settings.channel = s->channel;
    return ChangeNetwork(path, &settings);
}

static int SwitchNetwork(const char *path, uint8_t on)
{
    SsidSettings settings = {};
    settings.hasSwitch = 1;
    settings.on = on;
    return ChangeNetwork(path, &settings);
}

int get_ssid_switch(uint16_t index, uint8_t *on)
{
    char path[kSocketPath];
    SsidCfg ssid = {};
    int result = ReadSocket(index, path);
    if (result == RESULT_OK) result = HostapdRead(path, &ssid, nullptr);
    if (result == RESULT_OK) *on = ssid.enabled;
    return result;
}

int set_ssid_switch(uint16_t index, uint8_t on)
{
    char path[kSocketPath];
    if (on > 1) return RESULT_BAD_VALUE;
    const int result = ReadSocket(index, path);
    if (result != RESULT_OK) return result;
    return SwitchNetwork(path, on);
}

// ---- Radios ----

int get_wifi_radio_switch(uint8_t *on)
{
    SocketPaths paths;
    uint16_t count;
    const int result = ReadSockets(paths, &count);
    if (result != RESULT_OK) return result;
    if (count == 0) return RESULT_WIFI;
    uint8_t any = 0;
    for (uint16_t i = 0; i < count; i++) {
        SsidCfg ssid = {};
        const int one = HostapdRead(paths[i], &ssid, nullptr);
        if (one != RESULT_OK) return one;
        any |= ssid.enabled;
    }
    *on = any;
    return RESULT_OK;
}

int set_wifi_radio_switch(uint8_t on)
{
    SocketPaths paths;
    uint16_t count;
    if (on > 1) return RESULT_BAD_VALUE;
    int result = ReadSockets(paths, &count);
    if (result == RESULT_OK && count == 0) return RESULT_WIFI;
    for (uint16_t i = 0; result == RESULT_OK && i < count; i++) result = SwitchNetwork(paths[i], on);
    return result;
}

// A network of hostapd stands for its radio: module N is that of the Nth socket.
int get_wifi_module_status(uint16_t module, uint8_t *status)
{
    SocketPaths paths;
    uint16_t count;
    if (module >= ROUTER_SDK_WIFI_MODULES) return RESULT_UNKNOWN;
    const int result = ReadSockets(paths, &count);
    if (result != RESULT_OK) return result;
    SsidCfg ssid = {};
    *status = module < count && HostapdIdentity(paths[module]) &&
              HostapdRead(paths[module], &ssid, nullptr) == RESULT_OK && ssid.enabled;
    return RESULT_OK;
}

int get_wps_switch(uint8_t *on)
{
    char path[kSocketPath];
    SsidCfg ssid = {};
    uint8_t wps = 0;
    int result = ReadSocket(0, path);
    if (result == RESULT_UNKNOWN) result = RESULT_WIFI;
    if (result == RESULT_OK) result = HostapdRead(path, &ssid, &wps);
    if (result == RESULT_OK) *on = wps;
    return result;
}

int set_wps_switch(uint8_t on)
{
    SocketPaths paths;
    uint16_t count;
    if (on > 1) return RESULT_BAD_VALUE;
    int result = ReadSockets(paths, &count);
    if (result == RESULT_OK && count == 0) return RESULT_WIFI;
    return result == RESULT_OK ? ChangeWps(paths, count, on) : result;
}

int get_adj_wifi_devs(AdjWifi *a, uint16_t *count)
{
    StartRouter();
    Lock lock(CacheLock());
    *count = ScanResults(a);
    return RESULT_OK;
}
