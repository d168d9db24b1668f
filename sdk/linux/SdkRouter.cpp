// The functions about the router as a whole, its lights and its services.
#include "sdk/RouterSdk.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "sdk/linux/base/Result.h"
#include "sdk/linux/base/Say.h"
#include "sdk/linux/cache/Cache.h"
#include "sdk/linux/cache/Devices.h"
#include "sdk/linux/commands/Services.h"
#include "sdk/linux/host/Host.h"
#include "sdk/linux/links/Links.h"
#include "sdk/linux/settings/Settings.h"

// Every function starts here: the configuration, after everything else has been made ready.
static const Config *Ready()
{
    StartRouter();
    return TheConfig();
}

// ---- Who the router is ----

namespace
{
struct ChosenMac {
    uint8_t bytes[6];
};
} // namespace

// Chosen once and then kept, because interfaces come and go and this must never change: the first WAN's, else the LAN's.
int get_router_mac(uint8_t mac[6])
{
    const Config *config = Ready();
    if (KeyIsRight(config, KEY_MAC) != RESULT_OK) return RESULT_BAD_KEY;
    if (NeedKey(config, KEY_MAC) == RESULT_OK) return ReadMac(config->mac, mac) ? RESULT_OK : RESULT_BAD_KEY;
    ChosenMac chosen = {};
    {
        Lock lock(DevicesLock());
        memcpy(chosen.bytes, TheState()->routerMac, sizeof chosen.bytes);
    }
    const bool isKept = IsDeviceMac(chosen.bytes);
    if (!isKept) {
        Lock lock(CacheLock());
        char names[ROUTER_SDK_WANS][kMaxInterfaceName] = {};
        const Link *link = WanNames(config, names) > 0 ? LinkByName(names[0]) : nullptr;
        if (!link || !IsDeviceMac(link->mac)) link = LanLink(config);
        if (link) memcpy(chosen.bytes, link->mac, sizeof chosen.bytes);
    }
    if (!IsDeviceMac(chosen.bytes)) return RESULT_NO_FIGURE;
    const auto keep = [](State *state, const void *user) {
        memcpy(state->routerMac, static_cast<const ChosenMac *>(user)->bytes, sizeof state->routerMac);
    };
    if (!isKept) ChangeState(keep, &chosen); // without a state file it is chosen again each time
    memcpy(mac, chosen.bytes, sizeof chosen.bytes);
    return RESULT_OK;
}

int get_router_sn(char sn[64])
{
    return HostSerial(Ready(), sn);
}

int get_router_pin(char pin[12])
{
    const Config *config = Ready();
    const int result = NeedKey(config, KEY_PIN);
    if (result == RESULT_OK) FillField(pin, 12, config->pin);
    return result;
}

int get_router_version(RouterVersion *v)
{
    return HostVersion(Ready(), v);
}

int get_router_vender(char t[64])
{
    return HostMaker(Ready(), t);
}

int get_router_model(char t[64])
{
    return HostModel(Ready(), t);
}

int get_cpu_cfg(CpuCfg *c)
{
    Ready();
    return HostCpu(c);
}

int get_mem_cfg(MemCfg *m)
{
    return HostMemory(Ready(), m);
}

int get_name(char name[32])
{
    Ready();
    {
        Lock lock(DevicesLock());
        const char *given = TheState()->name;
        if (given[0]) {
            CopyText(name, 32, given);
            return RESULT_OK;
        }
    }
    return HostName(name);
}

int set_name(const char *name)
{
    Ready();
    if (strnlen(name, sizeof State::name) == sizeof State::name) return RESULT_TOO_LONG;
    return ChangeState(
        [](State *state, const void *user) {
            memset(state->name, 0, sizeof state->name);
            CopyText(state->name, sizeof state->name, static_cast<const char *>(user));
        },
        name);
}

int get_router_is_plug(void)
{
    return Ready()->managed;
}

int get_router_support_ipv6(void)
{
    Ready();
    return HostHasIpv6();
}

// ---- The router as a whole, now ----

int get_cpu_use(uint16_t *percent)
{
    Ready();
    return HostCpuUse(percent);
}

int get_mem_use(uint16_t *percent)
{
    Ready();
    return HostMemoryUse(percent);
}

int get_duration_time(uint64_t *seconds)
{
    Ready();
    return HostUptime(seconds);
}

static int Rate(Direction direction, uint64_t *bytesPerSecond)
{
    Ready();
    WantRates();
    Lock lock(DevicesLock());
    *bytesPerSecond = TotalRate(direction);
    return RESULT_OK;
}

int get_flows_down_rate(uint64_t *bytesPerSecond)
{
    return Rate(RECEIVED, bytesPerSecond);
}

int get_flows_up_rate(uint64_t *bytesPerSecond)
{
    return Rate(SENT, bytesPerSecond);
}

int sync_time(uint64_t seconds)
{
    const Config *config = Ready();
    if (KeyIsRight(config, KEY_SET_CLOCK) != RESULT_OK) return RESULT_BAD_KEY;
    if (!config->setClock) return RESULT_NOT_CONFIGURED;
    if (seconds > INT32_MAX) return RESULT_BAD_VALUE; // the least that a clock of any machine can show
    const timespec time = {time_t(seconds), 0};
    if (clock_settime(CLOCK_REALTIME, &time) == 0) return RESULT_OK;
    Say("the clock cannot be set: %s", strerror(errno));
    return RESULT_KERNEL;
}

int restart(void)
{
    return RunCommand(Ready(), KEY_RESTART, "");
}

namespace
{
struct FullLoad {
    uint16_t selector;
    uint8_t on;
};
} // namespace

int set_full_load_enable(uint16_t selector, uint8_t on)
{
    const Config *config = Ready();
    if (selector >= kFullLoads || on > 1) return RESULT_BAD_VALUE;
    char words[16];
    snprintf(words, sizeof words, "%u %s", selector, on ? "on" : "off");
    const int result = RunCommand(config, KEY_FULL_LOAD, words);
    if (result != RESULT_OK) return result;
    const FullLoad wanted = {selector, on};
    return ChangeState(
        [](State *state, const void *user) {
            const FullLoad *load = static_cast<const FullLoad *>(user);
            state->fullLoad[load->selector] = load->on;
        },
        &wanted);
}

int update_rom_version(const char *param)
{
    return RunCommand(Ready(), KEY_FIRMWARE, param);
}

int set_redirection(const char *param)
{
    return RunCommand(Ready(), KEY_REDIRECTION, param);
}

int set_http_test_url(const char *url)
{
    const Config *config = Ready();
    if (strnlen(url, kMaxUrl) == kMaxUrl) return RESULT_TOO_LONG;
    const int result = RunCommand(config, KEY_HTTP_TEST, url);
    if (result != RESULT_OK) return result;
    return ChangeState(
        [](State *state, const void *user) {
            memset(state->httpTestUrl, 0, sizeof state->httpTestUrl);
            CopyText(state->httpTestUrl, sizeof state->httpTestUrl, static_cast<const char *>(user));
        },
        url);
}

// ---- Lights and services ----

int get_led_switch(uint8_t *on)
{
    return GetServiceSwitch(Ready(), KEY_LED, on);
}

int set_led_switch(uint8_t on)
{
    return SetServiceSwitch(Ready(), KEY_LED, on);
}

#define SERVICE(name, switchName, key)                                                                                 \
    int get_##switchName##_switch(uint8_t *on)                                                                         \
    {                                                                                                                  \
        return GetServiceSwitch(Ready(), key, on);                                                                     \
    }                                                                                                                  \
    int set_##switchName##_switch(uint8_t on)                                                                          \
    {                                                                                                                  \
        return SetServiceSwitch(Ready(), key, on);                                                                     \
    }                                                                                                                  \
    int get_##name##_user(char text[16])                                                                               \
    {                                                                                                                  \
        return GetServiceText(Ready(), key, "user", text);                                                             \
    }                                                                                                                  \
    int set_##name##_user(const char *text)                                                                            \
    {                                                                                                                  \
        return SetServiceText(Ready(), key, "user", text);                                                             \
    }                                                                                                                  \
    int get_##name##_password(char text[16])                                                                           \
    {                                                                                                                  \
        return GetServiceText(Ready(), key, "password", text);                                                         \
    }                                                                                                                  \
    int set_##name##_password(const char *text)                                                                        \
    {                                                                                                                  \
        return SetServiceText(Ready(), key, "password", text);                                                         \
    }

SERVICE(ftp, ftp, KEY_FTP)
SERVICE(samba, sambaenable, KEY_SAMBA)
SERVICE(telnet, telnetenable, KEY_TELNET)
