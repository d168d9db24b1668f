/*
 * RouterSdk.h - how the agent reaches the router: the interface of libRouterSdk.so.1.
 *
 * Every router maker supplies this library; the agent is not rebuilt for it. So this header is a binary
 * interface: C symbols, plain pointers, fixed-width integers, and packed records whose sizes and offsets are
 * asserted below. It compiles as C99/C11 and as C++11 or later. sdk/sim/ is a complete implementation to compare with.
 *
 * What holds for every function, unless its own comment says otherwise
 *   Result   0 is success. Anything else is the maker's own code, which is reported to the platform as it is (its low
 *            16 bits). On failure the caller's buffers are left exactly as they were.
 *   Memory   All buffers are the caller's. Nothing is handed out that would have to be freed, and no pointer is kept
 *            after the call. Pointers are never null and need not be aligned (records are packed).
 *   Order    Integers are in the order of the processor, which is little-endian. IPv4 addresses are 32-bit values in
 *            network byte order, as inet_addr() gives them. A MAC is its 6 bytes in the order they are written.
 *   Text     Outputs are NUL-terminated inside their size, arguments are NUL-terminated (but see set_ssid_cfg).
 *            `char t[N]` means room for N bytes, the NUL included. The encoding is UTF-8; whoever shows a text must
 *            expect other bytes too.
 *   Lists    `count` is set to the number of records. The array has room for the number that the comment states, and
 *            no more is ever written.
 *   Threads  Calls come from several threads at once, and the library locks what it needs. Calls on the device table
 *            (`_dev` or `_devs` in the name) are made by one thread at a time.
 *   Time     A call may take as long as it needs, but some are made while a lock of the agent is held (the device
 *            table), so they should answer from memory.
 *
 * How the contract may grow (ROUTER_SDK_VERSION counts the additions)
 *   What is there stays: functions, their arguments and results, the sizes and fields of records, the room of lists. A
 *   library of today works with every later agent that asks for libRouterSdk.so.1, and this agent with every later
 *   library of that name. A function that is added is optional: the agent refers to it weakly and does without it where
 *   a library lacks it. A reserved byte may get a meaning in which 0 is what it was. An enumeration may get more values.
 *   Anything else is another contract with another name, libRouterSdk.so.2.
 */
#ifndef ROUTER_SDK_H
#define ROUTER_SDK_H

#include <stddef.h>
#include <stdint.h>

/* What crosses this interface, the platform's frames and the local socket, is in the order of the processor, unchanged. */
#if __BYTE_ORDER__ != __ORDER_LITTLE_ENDIAN__
#error "The agent and its router libraries are for little-endian processors only."
#endif

/* The version of this header, for #if. */
#define ROUTER_SDK_VERSION 1

#ifdef __cplusplus
#define ROUTER_SDK_ASSERT(condition, text) static_assert(condition, text)
extern "C" {
#elif defined(__STDC_VERSION__) && __STDC_VERSION__ >= 201112L
#define ROUTER_SDK_ASSERT(condition, text) _Static_assert(condition, text)
#else
#define ROUTER_SDK_ASSERT(condition, text) struct RouterSdkAssertNeedsC11
#endif
#define ROUTER_SDK_SIZE(record, bytes) ROUTER_SDK_ASSERT(sizeof(record) == (bytes), #record " is " #bytes " bytes long")
#define ROUTER_SDK_AT(record, field, bytes)                                                                            \
    ROUTER_SDK_ASSERT(offsetof(record, field) == (bytes), #record "." #field " stands at " #bytes)

/* A library built with hidden symbols still exports what is declared here. */
#pragma GCC visibility push(default)

/* Room of the lists. */
enum {
    ROUTER_SDK_WANS = 8,
    ROUTER_SDK_LAN_PORTS = 16,
    ROUTER_SDK_SSIDS = 16,
    ROUTER_SDK_WIFI_MODULES = 4,
    ROUTER_SDK_DEVICES = 129,
    ROUTER_SDK_BLACK_LIST = 100,
    ROUTER_SDK_ADJ_WIFI = 30
};

/* ------------------------------------------------------------------------------------------------ Records */

/* Firmware of the router. */
typedef struct __attribute__((packed)) RouterVersion {
    char text[60];  /* version text, NUL-terminated */
    int8_t date[4]; /* build date: century, year, month, day; 5 November 2023 is 20, 23, 11, 5 */
} RouterVersion;

typedef struct __attribute__((packed)) CpuCfg {
    char model[40];
    uint16_t mhz; /* clock rate in MHz */
    uint8_t cores;
} CpuCfg;

typedef struct __attribute__((packed)) MemCfg {
    uint32_t kilobytes; /* main memory in KiB */
    char type[16];      /* such as "DDR3" */
} MemCfg;

/* The router's own side of the LAN. */
typedef struct __attribute__((packed)) LanCfg {
    uint8_t mac[6];
    uint32_t ip;
    uint32_t netmask;
} LanCfg;

/* Values of WanCfg.mode. */
enum { ROUTER_WAN_DHCP = 0, ROUTER_WAN_STATIC = 1, ROUTER_WAN_PPPOE = 2, ROUTER_WAN_BRIDGE = 3 };

/* One connection to the provider. */
typedef struct __attribute__((packed)) WanCfg {
    uint16_t index;    /* the number that the functions with a WAN index take; from 0 */
    uint8_t mode;      /* ROUTER_WAN_... */
    uint16_t vlan;     /* VLAN tag, 0 for none */
    uint16_t mtu;      /* bytes */
    char name[64];     /* name of the connection */
    char user[64];     /* PPPoE account, else empty */
    char password[64]; /* PPPoE password, else empty */
    uint8_t mac[6];
    uint32_t ip; /* this address and the next four: 0 when there is none (yet) */
    uint32_t netmask;
    uint32_t gateway;
    uint32_t dns1;
    uint32_t dns2;
    uint16_t services; /* what uses the connection; one bit per service, the maker's own numbering */
    uint8_t connected; /* 1 connected, 0 not */
} WanCfg;

/* One wireless network of the router. */
typedef struct __attribute__((packed)) SsidCfg {
    uint16_t index; /* the number that the functions with an SSID index take; from 0 */
    char ssid[33];
    char key[65];    /* pass phrase, or 64 hex digits; empty for an open network */
    uint8_t enabled; /* 1 on, 0 off */
    uint8_t hidden;  /* 1 not announced, 0 announced */
    uint8_t reserved[4];
    uint16_t security;  /* kind of protection, the maker's own numbering; 0 for an open network */
    uint16_t bandwidth; /* MHz */
    uint16_t channel;   /* 1 to 14 on 2.4 GHz, 36 and above on 5 GHz; 0 chosen by the router */
    uint32_t ip;        /* the router's address in the SSID's own network, 0 when bridged to the LAN */
    uint32_t netmask;   /* of the SSID's own network, 0 when bridged to the LAN */
} SsidCfg;

/* Values of DevCfg.link. */
enum { ROUTER_LINK_WIRED = 0, ROUTER_LINK_WIFI_2G = 1, ROUTER_LINK_WIFI_5G = 2 };

/* One device of the household. The agent hands a record back with `access` and `changed` altered and all else, reserved
 * bytes included, as it got it. */
typedef struct __attribute__((packed)) DevCfg {
    uint8_t mac[6];
    char name[16]; /* zero-padded; a name of 16 bytes or more fills it without a terminator */
    uint8_t reserved[2];
    uint8_t changed; /* towards the router: the agent's run mode (1 two servers, 0 one) when access is changed */
    uint8_t link;    /* ROUTER_LINK_... */
    uint8_t access;  /* 1 internet allowed, 0 refused */
    uint8_t reserved2;
    uint16_t port; /* wired: the LAN port, from 0; Wi-Fi: the index of the SSID */
    uint32_t ip;
} DevCfg;

/* One wireless network of a neighbour, as the last scan saw it. */
typedef struct __attribute__((packed)) AdjWifi {
    uint8_t bssid[6];
    char ssid[33];      /* empty when hidden */
    char security[21];  /* such as "WPA2-PSK" */
    int32_t rssi;       /* dBm */
    uint32_t frequency; /* kHz */
    uint16_t channel;
    uint16_t bandwidth; /* MHz */
    uint16_t load;      /* use of the channel, percent */
} AdjWifi;

ROUTER_SDK_SIZE(RouterVersion, 64);
ROUTER_SDK_AT(RouterVersion, text, 0);
ROUTER_SDK_AT(RouterVersion, date, 60);

ROUTER_SDK_SIZE(CpuCfg, 43);
ROUTER_SDK_AT(CpuCfg, model, 0);
ROUTER_SDK_AT(CpuCfg, mhz, 40);
ROUTER_SDK_AT(CpuCfg, cores, 42);

ROUTER_SDK_SIZE(MemCfg, 20);
ROUTER_SDK_AT(MemCfg, kilobytes, 0);
ROUTER_SDK_AT(MemCfg, type, 4);

ROUTER_SDK_SIZE(LanCfg, 14);
ROUTER_SDK_AT(LanCfg, mac, 0);
ROUTER_SDK_AT(LanCfg, ip, 6);
ROUTER_SDK_AT(LanCfg, netmask, 10);

ROUTER_SDK_SIZE(WanCfg, 228);
ROUTER_SDK_AT(WanCfg, index, 0);
ROUTER_SDK_AT(WanCfg, mode, 2);
ROUTER_SDK_AT(WanCfg, vlan, 3);
ROUTER_SDK_AT(WanCfg, mtu, 5);
ROUTER_SDK_AT(WanCfg, name, 7);
ROUTER_SDK_AT(WanCfg, user, 71);
ROUTER_SDK_AT(WanCfg, password, 135);
ROUTER_SDK_AT(WanCfg, mac, 199);
ROUTER_SDK_AT(WanCfg, ip, 205);
ROUTER_SDK_AT(WanCfg, netmask, 209);
ROUTER_SDK_AT(WanCfg, gateway, 213);
ROUTER_SDK_AT(WanCfg, dns1, 217);
ROUTER_SDK_AT(WanCfg, dns2, 221);
ROUTER_SDK_AT(WanCfg, services, 225);
ROUTER_SDK_AT(WanCfg, connected, 227);

ROUTER_SDK_SIZE(SsidCfg, 120);
ROUTER_SDK_AT(SsidCfg, index, 0);
ROUTER_SDK_AT(SsidCfg, ssid, 2);
ROUTER_SDK_AT(SsidCfg, key, 35);
ROUTER_SDK_AT(SsidCfg, enabled, 100);
ROUTER_SDK_AT(SsidCfg, hidden, 101);
ROUTER_SDK_AT(SsidCfg, reserved, 102);
ROUTER_SDK_AT(SsidCfg, security, 106);
ROUTER_SDK_AT(SsidCfg, bandwidth, 108);
ROUTER_SDK_AT(SsidCfg, channel, 110);
ROUTER_SDK_AT(SsidCfg, ip, 112);
ROUTER_SDK_AT(SsidCfg, netmask, 116);

ROUTER_SDK_SIZE(DevCfg, 34);
ROUTER_SDK_AT(DevCfg, mac, 0);
ROUTER_SDK_AT(DevCfg, name, 6);
ROUTER_SDK_AT(DevCfg, reserved, 22);
ROUTER_SDK_AT(DevCfg, changed, 24);
ROUTER_SDK_AT(DevCfg, link, 25);
ROUTER_SDK_AT(DevCfg, access, 26);
ROUTER_SDK_AT(DevCfg, reserved2, 27);
ROUTER_SDK_AT(DevCfg, port, 28);
ROUTER_SDK_AT(DevCfg, ip, 30);

ROUTER_SDK_SIZE(AdjWifi, 74);
ROUTER_SDK_AT(AdjWifi, bssid, 0);
ROUTER_SDK_AT(AdjWifi, ssid, 6);
ROUTER_SDK_AT(AdjWifi, security, 39);
ROUTER_SDK_AT(AdjWifi, rssi, 60);
ROUTER_SDK_AT(AdjWifi, frequency, 64);
ROUTER_SDK_AT(AdjWifi, channel, 68);
ROUTER_SDK_AT(AdjWifi, bandwidth, 70);
ROUTER_SDK_AT(AdjWifi, load, 72);

/* ------------------------------------------------------------------------------------- Who the router is */

/* The MAC that names the router towards the platform; it must never change. */
int get_router_mac(uint8_t mac[6]);

/* Serial number. */
int get_router_sn(char sn[64]);

/* PIN of the label. Zero-padded; a PIN of 12 characters fills the buffer without a terminator. */
int get_router_pin(char pin[12]);

int get_router_version(RouterVersion *v);

/* Name of the maker, and of the model. */
int get_router_vender(char t[64]);
int get_router_model(char t[64]);

int get_cpu_cfg(CpuCfg *c);
int get_mem_cfg(MemCfg *m);

/* The name that the owner gave the router: at most 31 bytes; a longer one is refused. */
int get_name(char name[32]);
int set_name(const char *name);

/* 1 when the router takes part in plugin management, else 0. The return value is the flag; the call cannot fail. */
int get_router_is_plug(void);

/* 1 when the router handles IPv6, else 0. The return value is the flag; the call cannot fail. */
int get_router_support_ipv6(void);

/* --------------------------------------------------------------------------- The router as a whole, now */

/* Use of the processor and of main memory, 0 to 100 percent. */
int get_cpu_use(uint16_t *percent);
int get_mem_use(uint16_t *percent);

/* Seconds since the router started. */
int get_duration_time(uint64_t *seconds);

/* What flows from and to the internet at the moment, all devices together, in bytes per second. */
int get_flows_down_rate(uint64_t *bytesPerSecond);
int get_flows_up_rate(uint64_t *bytesPerSecond);

/* Sets the router's clock. `seconds` since 1 January 1970, UTC. */
int sync_time(uint64_t seconds);

/* Restarts the router. It may return before the restart, so that the platform can still be answered. */
int restart(void);

/* Lets the router use its full capacity (`on` 1) or not (0). `selector` says for what; the maker's own numbering. */
int set_full_load_enable(uint16_t selector, uint8_t on);

/* Installs other firmware. `param` comes from the platform and says what and from where, in the maker's own form. */
int update_rom_version(const char *param);

/* Where web pages are redirected to. `param` comes from the platform, in the maker's own form. */
int set_redirection(const char *param);

/* The page that the router fetches to test its connection. */
int set_http_test_url(const char *url);

/* --------------------------------------------------------------------------------------------------- WAN */

/* Number of WAN connections, at most 8. They have the indexes from 0. */
int get_wan_num(uint16_t *count);

/* One WAN, and all of them (room for 8). An unknown index fails. */
int get_wan_cfg(uint16_t index, WanCfg *w);
int get_wans_cfg(WanCfg *w, uint16_t *count);

/* Connections that the router is tracking at the moment on a WAN. An unknown index fails. */
int get_wan_tcp_con_num(uint16_t index, uint32_t *n);
int get_wan_udp_con_num(uint16_t index, uint32_t *n);

/* Bytes that a WAN has received since the router started. An unknown index fails. */
int get_wan_receive_bytes(uint16_t index, uint64_t *n);

/* One byte per WAN in the order of the indexes, as many as get_wan_num() says, room for 16: 1 connected, 0 not. */
int get_wan_con_status(uint8_t *status);

/* The resolvers that the router asks. 0 for none. */
int get_dns(uint32_t *primary, uint32_t *secondary);
int set_dns(uint32_t primary, uint32_t secondary);

/* --------------------------------------------------------------------------------------------------- LAN */

int get_lan_cfg(LanCfg *l);

/* Number of LAN ports, at most 16. They are numbered from 0. */
int get_lan_num(uint16_t *count);

/* One byte per LAN port in their order, as many as get_lan_num() says, room for 16: 1 something is plugged in, 0 not.
 */
int get_lan_con_status(uint8_t *status);

/* Bytes since the router started that came in at a port (up: from the device) and left through it (down: to the
 * device). An unknown port fails. */
int get_lan_port_up_flow(uint16_t port, uint64_t *bytes);
int get_lan_port_down_flow(uint16_t port, uint64_t *bytes);

/* ------------------------------------------------------------------------------------------------- Wi-Fi */

/* All SSIDs of all bands, room for 16, and one of them. An unknown index fails. */
int get_wlans_cfg(SsidCfg *s, uint16_t *count);
int get_ssid_cfg(uint16_t index, SsidCfg *s);

/* Changes the SSID that `s->index` names to what the record says. The exception of all texts: those of this record are
 * the platform's bytes as they came and may fill their fields without a NUL. */
int set_ssid_cfg(const SsidCfg *s);

/* One SSID on (1) or off (0); the same as `enabled` of its record. */
int get_ssid_switch(uint16_t index, uint8_t *on);
int set_ssid_switch(uint16_t index, uint8_t on);

/* All radios together, on (1) or off (0). */
int get_wifi_radio_switch(uint8_t *on);
int set_wifi_radio_switch(uint8_t on);

/* State of one radio module: 1 working, 0 off or absent. `module` is 0 to 3; any other fails. */
int get_wifi_module_status(uint16_t module, uint8_t *status);

/* WPS on (1) or off (0). */
int get_wps_switch(uint8_t *on);
int set_wps_switch(uint8_t on);

/* What the last scan saw of the neighbours, room for 30. Never waits for a scan. */
int get_adj_wifi_devs(AdjWifi *a, uint16_t *count);

/* ---------------------------------------------------------------------------------- Lights and services */

/* On (1) or off (0): the lights, and the FTP, Samba and Telnet servers of the router. */
int get_led_switch(uint8_t *on);
int set_led_switch(uint8_t on);
int get_ftp_switch(uint8_t *on);
int set_ftp_switch(uint8_t on);
int get_sambaenable_switch(uint8_t *on);
int set_sambaenable_switch(uint8_t on);
int get_telnetenable_switch(uint8_t *on);
int set_telnetenable_switch(uint8_t on);

/* Their accounts. A text has at most 16 characters. A getter zero-pads; a text of 16 characters fills the buffer
 * without a terminator. A setter refuses a longer text. */
int get_ftp_user(char text[16]);
int set_ftp_user(const char *text);
int get_ftp_password(char text[16]);
int set_ftp_password(const char *text);
int get_samba_user(char text[16]);
int set_samba_user(const char *text);
int get_samba_password(char text[16]);
int set_samba_password(const char *text);
int get_telnet_user(char text[16]);
int set_telnet_user(const char *text);
int get_telnet_password(char text[16]);
int set_telnet_password(const char *text);

/* ------------------------------------------------------------------------- Devices: the device table */

/* The devices that are connected now. The array has room for 129 records. `count` is the true number and may be more
 * than the room; then the first 129 are filled in. */
int get_devs_cfg(DevCfg *d, uint16_t *count);

/* One device by its MAC. The router may also know devices that are not connected now; one it does not know fails. */
int get_dev_cfg(DevCfg *d, const uint8_t mac[6]);

/* Allows the device `d.mac` the internet or refuses it, as `d.access` says. The record goes in by value. */
int set_dev_access_control(DevCfg d);

/* Full name of a device, at most 63 bytes; an unknown MAC or a longer name fails. */
int get_dev_name(const uint8_t mac[6], char name[64]);
int set_dev_name(const uint8_t mac[6], const char *name);

/* What a device sends (us, upstream) and receives (ds, downstream) at the moment, in bytes per second. The return value
 * is the figure; 0 for an unknown device. */
uint64_t get_dev_us_bw(const uint8_t mac[6]);
uint64_t get_dev_ds_bw(const uint8_t mac[6]);

/* The most that a device may send and receive, in bytes per second. 0 is no limit. */
int get_dev_us_max_bw(const uint8_t mac[6], int64_t *limit);
int set_dev_us_max_bw(const uint8_t mac[6], int64_t limit);
int get_dev_ds_max_bw(const uint8_t mac[6], int64_t *limit);
int set_dev_ds_max_bw(const uint8_t mac[6], int64_t limit);

/* Speed of a device's link in Mbit/s. `which`: 0 negotiated, 1 receive, 2 transmit; any other fails. */
int get_dev_speed(const uint8_t mac[6], uint16_t which, uint16_t *mbps);

/* MACs that are shut out of the household, room for 100. */
int get_dev_black_list(uint8_t (*macs)[6], uint16_t *count);

#pragma GCC visibility pop

#ifdef __cplusplus
} /* extern "C" */
#endif

#undef ROUTER_SDK_SIZE
#undef ROUTER_SDK_AT
#undef ROUTER_SDK_ASSERT

#endif
