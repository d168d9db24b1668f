/* Router.c - who the router is, and the router as a whole. RouterSdk.h says what each has to do; here is what to mind. */
#include "Template.h"

/* Needed: without a MAC the agent has to be started with -m. Use the one of the label; it must never change. */
int get_router_mac(uint8_t mac[6])
{
    (void)mac;
    return NOT_YET;
}

/* Needed: the agent registers with it, and does not without one. */
int get_router_sn(char sn[64])
{
    (void)sn;
    return NOT_YET;
}

/* The PIN of the label; fill what it leaves of the 12 bytes with zeros. */
int get_router_pin(char pin[12])
{
    (void)pin;
    return NOT_YET;
}

/* The firmware, for function 1 and the report after the start. Set the whole record. */
int get_router_version(RouterVersion *v)
{
    (void)v;
    return NOT_YET;
}

/* Your name. */
int get_router_vender(char t[64])
{
    (void)t;
    return NOT_YET;
}

/* The name of the model. */
int get_router_model(char t[64])
{
    (void)t;
    return NOT_YET;
}

/* On Linux: /proc/cpuinfo. */
int get_cpu_cfg(CpuCfg *c)
{
    (void)c;
    return NOT_YET;
}

/* On Linux: MemTotal of /proc/meminfo; the kind of memory is a constant. */
int get_mem_cfg(MemCfg *m)
{
    (void)m;
    return NOT_YET;
}

/* The name that the owner gave the router. */
int get_name(char name[32])
{
    (void)name;
    return NOT_YET;
}

/* Keep it over a reboot. Refuse more than 31 bytes. */
int set_name(const char *name)
{
    (void)name;
    return NOT_YET;
}

/* Answer 1 as soon as the agent is part of the product. It is no result: it cannot fail. */
int get_router_is_plug(void)
{
    return 0;
}

/* No result either: 1 or 0. */
int get_router_support_ipv6(void)
{
    return 0;
}

/* On Linux: two readings of /proc/stat. Take them in a thread of yours, and answer with the last figure. */
int get_cpu_use(uint16_t *percent)
{
    (void)percent;
    return NOT_YET;
}

/* On Linux: MemTotal and MemAvailable of /proc/meminfo. */
int get_mem_use(uint16_t *percent)
{
    (void)percent;
    return NOT_YET;
}

/* On Linux: CLOCK_BOOTTIME. */
int get_duration_time(uint64_t *seconds)
{
    (void)seconds;
    return NOT_YET;
}

/* Of all WANs together. Bytes per second, not bits. */
int get_flows_down_rate(uint64_t *bytesPerSecond)
{
    (void)bytesPerSecond;
    return NOT_YET;
}

/* The same in the other direction. */
int get_flows_up_rate(uint64_t *bytesPerSecond)
{
    (void)bytesPerSecond;
    return NOT_YET;
}

/* On Linux: settimeofday(). The agent goes by its own monotonic clock and is not disturbed. */
int sync_time(uint64_t seconds)
{
    (void)seconds;
    return NOT_YET;
}

/* Return first, so that the platform is answered: leave the restart to another process, a second later. */
int restart(void)
{
    return NOT_YET;
}

/* What the selectors mean is yours. */
int set_full_load_enable(uint16_t selector, uint8_t on)
{
    (void)selector;
    (void)on;
    return NOT_YET;
}

/* The text comes from the platform as it is: check it, and never hand it to a shell. */
int update_rom_version(const char *param)
{
    (void)param;
    return NOT_YET;
}

/* The same holds for this text. */
int set_redirection(const char *param)
{
    (void)param;
    return NOT_YET;
}

/* And for this one. */
int set_http_test_url(const char *url)
{
    (void)url;
    return NOT_YET;
}
