// The functions about the router as a whole, its lights and its services.
#include "sdk/sim/Call.h"
#include "sdk/sim/Copies.h"
#include "sdk/sim/HostUse.h"
#include "sdk/sim/SimClock.h"
#include "sdk/sim/Traffic.h"

// ---- Who the router is ----

int get_router_mac(uint8_t mac[6])
{
    return Ask(__func__, ArgumentText(), [&](Household &home) -> int {
        memcpy(mac, home.mac, sizeof home.mac);
        return SIM_OK;
    });
}

TEXT_GETTER(get_router_sn, 64, serial)
TEXT_GETTER(get_router_pin, 12, pin)
TEXT_GETTER(get_router_vender, 64, vendor)
TEXT_GETTER(get_router_model, 64, model)
TEXT_GETTER(get_name, 32, name)

template <typename Record>
static int CopyRecord(const char *function, Record *to, const Record Household::*member)
{
    return Ask(function, ArgumentText(), [&](Household &home) -> int {
        *to = home.*member;
        return SIM_OK;
    });
}

int get_router_version(RouterVersion *v)
{
    return CopyRecord(__func__, v, &Household::version);
}

int get_cpu_cfg(CpuCfg *c)
{
    return CopyRecord(__func__, c, &Household::cpu);
}

int get_mem_cfg(MemCfg *m)
{
    return CopyRecord(__func__, m, &Household::memory);
}

int set_name(const char *name)
{
    ArgumentText arguments;
    return Change(__func__, AddText(arguments, "name", name, SIZE_MAX), [&](Household &home) -> int {
        return name[0] ? TakeText(home.name, sizeof home.name, name) : int(SIM_BAD_VALUE);
    });
}

int get_router_is_plug(void)
{
    return Ask(__func__, ArgumentText(), [](Household &home) { return home.isPlug; });
}

int get_router_support_ipv6(void)
{
    return Ask(__func__, ArgumentText(), [](Household &home) { return home.ipv6; });
}

// ---- What it is doing now ----

static int HostPercent(const char *function, uint16_t *percent, int (*host)())
{
    return Ask(function, ArgumentText(), [&](Household &) -> int {
        const int value = host();
        if (value < 0) return SIM_NO_FIGURE;
        *percent = uint16_t(value);
        return SIM_OK;
    });
}

int get_cpu_use(uint16_t *percent)
{
    return HostPercent(__func__, percent, HostCpuPercent);
}

int get_mem_use(uint16_t *percent)
{
    return HostPercent(__func__, percent, HostMemoryPercent);
}

int get_duration_time(uint64_t *seconds)
{
    return Ask(__func__, ArgumentText(), [&](Household &home) -> int {
        *seconds = UptimeSeconds(&home);
        return SIM_OK;
    });
}

static int SumOfRates(const char *function, uint64_t *sum, uint64_t (*rate)(const Household *, const Device *))
{
    return Ask(function, ArgumentText(), [&](Household &home) -> int {
        uint64_t all = 0;
        for (uint16_t i = 0; i < home.deviceCount; i++) all += rate(&home, &home.devices[i]);
        *sum = all;
        return SIM_OK;
    });
}

int get_flows_down_rate(uint64_t *bytesPerSecond)
{
    return SumOfRates(__func__, bytesPerSecond, DownRate);
}

int get_flows_up_rate(uint64_t *bytesPerSecond)
{
    return SumOfRates(__func__, bytesPerSecond, UpRate);
}

// ---- What it is told ----

int sync_time(uint64_t seconds)
{
    static const uint64_t kYear10000 = 253402300800;
    ArgumentText arguments;
    return Change(__func__, AddUnsigned(arguments, "seconds", seconds), [&](Household &home) -> int {
        if (seconds >= kYear10000) return SIM_BAD_VALUE;
        home.clockOffset = int64_t(seconds) - SimWallMs() / 1000;
        return SIM_OK;
    });
}

int restart(void)
{
    return Ask(__func__, ArgumentText(), [](Household &home) -> int {
        RestartHousehold(&home);
        return SIM_OK;
    });
}

int set_full_load_enable(uint16_t selector, uint8_t on)
{
    ArgumentText arguments;
    AddNumber(arguments, "selector", selector);
    return Change(__func__, AddNumber(arguments, "on", on), [&](Household &home) -> int {
        return selector < sizeof home.fullLoad ? TakeSwitch(&home.fullLoad[selector], on) : int(SIM_UNKNOWN);
    });
}

TEXT_SETTER(update_rom_version, romUpdate)
TEXT_SETTER(set_redirection, redirection)
TEXT_SETTER(set_http_test_url, httpTestUrl)

// ---- Lights and services ----

SWITCH_GETTER(get_led_switch, led)
SWITCH_SETTER(set_led_switch, led)
SWITCH_GETTER(get_ftp_switch, ftp.on)
SWITCH_SETTER(set_ftp_switch, ftp.on)
SWITCH_GETTER(get_sambaenable_switch, samba.on)
SWITCH_SETTER(set_sambaenable_switch, samba.on)
SWITCH_GETTER(get_telnetenable_switch, telnet.on)
SWITCH_SETTER(set_telnetenable_switch, telnet.on)

TEXT_GETTER(get_ftp_user, 16, ftp.user)
TEXT_SETTER(set_ftp_user, ftp.user)
TEXT_GETTER(get_ftp_password, 16, ftp.password)
TEXT_SETTER(set_ftp_password, ftp.password)
TEXT_GETTER(get_samba_user, 16, samba.user)
TEXT_SETTER(set_samba_user, samba.user)
TEXT_GETTER(get_samba_password, 16, samba.password)
TEXT_SETTER(set_samba_password, samba.password)
TEXT_GETTER(get_telnet_user, 16, telnet.user)
TEXT_SETTER(set_telnet_user, telnet.user)
TEXT_GETTER(get_telnet_password, 16, telnet.password)
TEXT_SETTER(set_telnet_password, telnet.password)
