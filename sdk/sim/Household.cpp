#include "sdk/sim/Household.h"

#include <cstring>
#include <iterator>

// Addresses are written as four octets and kept in network order, which on our little-endian routers is this.
static constexpr uint32_t Ip(uint32_t a, uint32_t b, uint32_t c, uint32_t d)
{
    return a | b << 8 | c << 16 | d << 24;
}

#define MAC_OF(last)                                                                                                   \
    {                                                                                                                  \
        0x02, 0x1A, 0x2B, 0x00, 0x00, last                                                                             \
    } // locally administered: belongs to no maker

static const struct {
    uint8_t mac[6];
    char name[28];
    uint8_t lastOctet;
    uint8_t link;
    uint8_t port;
    uint16_t speed;
    uint32_t typicalUp;
    uint32_t typicalDown;
} kDevices[] = {
    {MAC_OF(0x11), "office-pc", 11, ROUTER_LINK_WIRED, 0, 1000, 60000, 450000},
    {MAC_OF(0x12), "television", 12, ROUTER_LINK_WIRED, 1, 100, 20000, 1800000},
    {MAC_OF(0x13), "media-server", 13, ROUTER_LINK_WIRED, 2, 1000, 250000, 30000},
    {MAC_OF(0x14), "phone-anna", 14, ROUTER_LINK_WIFI_5G, 2, 866, 8000, 120000},
    {MAC_OF(0x15), "phone-ben", 15, ROUTER_LINK_WIFI_5G, 2, 866, 6000, 90000},
    {MAC_OF(0x16), "tablet", 16, ROUTER_LINK_WIFI_5G, 2, 433, 5000, 300000},
    {MAC_OF(0x17), "laptop-of-the-living-room", 17, ROUTER_LINK_WIFI_5G, 2, 866, 30000, 220000},
    {MAC_OF(0x18), "printer", 18, ROUTER_LINK_WIFI_2G, 0, 72, 40, 60},
    {MAC_OF(0x19), "thermostat", 19, ROUTER_LINK_WIFI_2G, 0, 72, 30, 20},
    {MAC_OF(0x1A), "doorbell-camera", 20, ROUTER_LINK_WIFI_2G, 0, 144, 90000, 1500},
    {MAC_OF(0x1B), "game-console", 21, ROUTER_LINK_WIFI_5G, 2, 866, 25000, 600000},
    {MAC_OF(0x1C), "visitor", 101, ROUTER_LINK_WIFI_2G, 1, 144, 3000, 40000},
};

static const struct {
    char ssid[16];
    char key[16];
    uint8_t enabled;
    uint16_t security;
    uint16_t bandwidth;
    uint16_t channel;
    uint32_t ip;
} kSsids[] = {
    {"Household", "correct horse", 1, 4, 20, 6, 0},
    {"Household-Guest", "welcome home", 1, 4, 20, 6, Ip(192, 168, 2, 1)},
    {"Household-5G", "correct horse", 1, 4, 80, 44, 0},
    {"Household-5G-G", "welcome home", 0, 4, 80, 44, Ip(192, 168, 3, 1)},
};

static const struct {
    uint8_t bssid[6];
    char ssid[16];
    char security[12];
    int8_t rssi;
    uint16_t mhz;
    uint8_t channel;
    uint8_t bandwidth;
    uint8_t load;
} kNeighbours[] = {
    {MAC_OF(0xA1), "Next door", "WPA2-PSK", -61, 2412, 1, 20, 34},
    {MAC_OF(0xA2), "Upstairs", "WPA2-PSK", -72, 2437, 6, 20, 51},
    {MAC_OF(0xA3), "Cafe", "OPEN", -80, 2462, 11, 20, 67},
    {MAC_OF(0xA4), "Next door 5G", "WPA3-SAE", -66, 5180, 36, 80, 12},
    {MAC_OF(0xA5), "", "WPA2-PSK", -84, 5500, 100, 80, 5},
};

template <size_t N>
static void Put(char (&field)[N], const char *text)
{
    const size_t length = strnlen(text, N - 1);
    memcpy(field, text, length);
    field[length] = 0;
}

void BlankWan(WanCfg *wan, uint16_t index)
{
    memset(wan, 0, sizeof *wan);
    wan->index = index;
    wan->mode = ROUTER_WAN_DHCP;
    wan->mtu = 1500;
    wan->connected = 1;
}

void BlankSsid(SsidCfg *ssid, uint16_t index)
{
    memset(ssid, 0, sizeof *ssid);
    ssid->index = index;
    ssid->enabled = 1;
    ssid->bandwidth = 20;
    ssid->channel = 6;
}

void BlankDevice(Device *device)
{
    memset(device, 0, sizeof *device);
    device->link = ROUTER_LINK_WIRED;
    device->access = 1;
    device->onlineAtStart = 1;
    device->speed = 100;
    device->typicalUp = 2000;
    device->typicalDown = 20000;
}

static void DefaultRouter(Household *home)
{
    static const uint8_t mac[6] = MAC_OF(0x01);
    memcpy(home->mac, mac, sizeof mac);
    Put(home->serial, "SIM0000000001");
    Put(home->pin, "12345670");
    Put(home->version.text, "1.0.0-simulated");
    static const int8_t date[4] = {20, 24, 6, 1};
    memcpy(home->version.date, date, sizeof date);
    Put(home->vendor, "Example");
    Put(home->model, "Simulated Router");
    Put(home->name, "household");
    home->isPlug = 1;
    home->ipv6 = 1;
    home->led = 1;
    Put(home->cpu.model, "Simulated CPU");
    home->cpu.mhz = 880;
    home->cpu.cores = 2;
    home->memory.kilobytes = 131072;
    Put(home->memory.type, "DDR3");
}

static void DefaultNetwork(Household *home)
{
    memcpy(home->lan.mac, home->mac, sizeof home->lan.mac);
    home->lan.ip = Ip(192, 168, 1, 1);
    home->lan.netmask = Ip(255, 255, 255, 0);
    home->lanPorts = 4;
    home->dns[0] = Ip(198, 51, 100, 53);
    home->dns[1] = Ip(203, 0, 113, 53);

    home->wanCount = 1;
    WanCfg *wan = &home->wans[0];
    BlankWan(wan, 0);
    static const uint8_t mac[6] = MAC_OF(0x02);
    memcpy(wan->mac, mac, sizeof mac);
    wan->mode = ROUTER_WAN_PPPOE;
    wan->vlan = 41;
    wan->mtu = 1492;
    Put(wan->name, "INTERNET");
    Put(wan->user, "subscriber@example.net");
    Put(wan->password, "subscriber");
    wan->ip = Ip(198, 51, 100, 20);
    wan->netmask = Ip(255, 255, 255, 255);
    wan->gateway = Ip(198, 51, 100, 1);
    wan->dns1 = home->dns[0];
    wan->dns2 = home->dns[1];
    wan->services = 1;
}

static void DefaultWifi(Household *home)
{
    home->radio = 1;
    home->modules[0] = 1;
    home->modules[1] = 1;
    for (const auto &row : kSsids) {
        SsidCfg *ssid = &home->ssids[home->ssidCount];
        BlankSsid(ssid, home->ssidCount++);
        Put(ssid->ssid, row.ssid);
        Put(ssid->key, row.key);
        ssid->enabled = row.enabled;
        ssid->security = row.security;
        ssid->bandwidth = row.bandwidth;
        ssid->channel = row.channel;
        ssid->ip = row.ip;
        ssid->netmask = row.ip ? Ip(255, 255, 255, 0) : 0;
    }
    for (const auto &row : kNeighbours) {
        AdjWifi *seen = &home->neighbours[home->neighbourCount++];
        memcpy(seen->bssid, row.bssid, sizeof seen->bssid);
        Put(seen->ssid, row.ssid);
        Put(seen->security, row.security);
        seen->rssi = row.rssi;
        seen->frequency = row.mhz * 1000u;
        seen->channel = row.channel;
        seen->bandwidth = row.bandwidth;
        seen->load = row.load;
    }
}

static void DefaultDevices(Household *home)
{
    for (const auto &row : kDevices) {
        Device *device = &home->devices[home->deviceCount++];
        BlankDevice(device);
        memcpy(device->mac, row.mac, sizeof device->mac);
        Put(device->name, row.name);
        device->ip = Ip(192, 168, row.lastOctet > 100 ? 2 : 1, row.lastOctet);
        device->link = row.link;
        device->port = row.port;
        device->speed = row.speed;
        device->typicalUp = row.typicalUp;
        device->typicalDown = row.typicalDown;
    }
    static const uint8_t black[][6] = {MAC_OF(0xB1), MAC_OF(0xB2)};
    static_assert(sizeof black <= sizeof home->black, "the list has room for them");
    memcpy(home->black, black, sizeof black);
    home->blackCount = std::size(black);
}

void HouseholdDefaults(Household *home)
{
    DefaultRouter(home);
    DefaultNetwork(home);
    DefaultWifi(home);
    DefaultDevices(home);
    Put(home->ftp.user, "ftp");
    Put(home->ftp.password, "ftp-secret");
    Put(home->samba.user, "samba");
    Put(home->samba.password, "samba-secret");
    home->samba.on = 1;
    Put(home->telnet.user, "admin");
    Put(home->telnet.password, "telnet-secret");
}

Device *FindDevice(Household *home, const uint8_t mac[6])
{
    for (uint16_t i = 0; i < home->deviceCount; i++) {
        if (memcmp(home->devices[i].mac, mac, sizeof home->devices[i].mac) == 0) return &home->devices[i];
    }
    return nullptr;
}

bool DeviceIsThere(const Household *home, const Device *device)
{
    return device->online && (device->link == ROUTER_LINK_WIRED || home->radio);
}

void FillDevCfg(DevCfg *record, const Device *device)
{
    memset(record, 0, sizeof *record);
    memcpy(record->mac, device->mac, sizeof record->mac);
    memcpy(record->name, device->name, strnlen(device->name, sizeof record->name));
    record->changed = device->changed;
    record->link = device->link;
    record->access = device->access;
    record->port = device->port;
    record->ip = device->ip;
}
