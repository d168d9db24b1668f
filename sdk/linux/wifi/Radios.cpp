#include "sdk/linux/wifi/Radios.h"

#include <cstring>
#include <linux/nl80211.h>
#include <sys/socket.h>

#include "sdk/linux/links/Netlink.h"
#include "sdk/linux/settings/Settings.h"
#include "sdk/linux/wifi/Nl80211.h"

namespace
{
struct Tables {
    Radio radios[kMaxRadios];
    size_t radioCount;
    Station stations[kMaxStations];
    size_t stationCount;
    AdjWifi neighbours[ROUTER_SDK_ADJ_WIFI];
    uint16_t neighbourCount;
};
} // namespace

// All that this module remembers.
static Tables s_tables;         // in use, by the lock
static Tables s_fresh;          // just read, cache thread only, as are the sockets
static mnl_socket *s_questions; // null: no wireless part
static mnl_socket *s_events;

int RadiosOpen()
{
    if (!s_questions && !Nl80211Open(&s_questions, &s_events)) return -1;
    return mnl_socket_get_fd(s_events);
}

static int OnRadio(const nlmsghdr *message, void *)
{
    if (s_fresh.radioCount < kMaxRadios && ReadRadio(message, &s_fresh.radios[s_fresh.radioCount]))
        s_fresh.radioCount++;
    return MNL_CB_OK;
}

static int OnStation(const nlmsghdr *message, void *)
{
    if (s_fresh.stationCount < kMaxStations && ReadStation(message, &s_fresh.stations[s_fresh.stationCount]))
        s_fresh.stationCount++;
    return MNL_CB_OK;
}

static int OnScan(const nlmsghdr *message, void *)
{
    if (s_fresh.neighbourCount < ROUTER_SDK_ADJ_WIFI && ReadScan(message, &s_fresh.neighbours[s_fresh.neighbourCount]))
        s_fresh.neighbourCount++;
    return MNL_CB_OK;
}

void RadiosRead()
{
    if (!s_questions) return;
    char waste[4096];
    while (recv(mnl_socket_get_fd(s_events), waste, sizeof waste, MSG_DONTWAIT) > 0) {
    }
    memset(&s_fresh, 0, sizeof s_fresh);
    Nl80211Dump(s_questions, NL80211_CMD_GET_INTERFACE, 0, OnRadio, nullptr);
    for (size_t i = 0; i < s_fresh.radioCount; i++) {
        Nl80211Dump(s_questions, NL80211_CMD_GET_STATION, s_fresh.radios[i].index, OnStation, nullptr);
        Nl80211Dump(s_questions, NL80211_CMD_GET_SCAN, s_fresh.radios[i].index, OnScan, nullptr);
    }
}

void RadiosTake()
{
    s_tables = s_fresh;
}

const Radio *RadioByIndex(int index)
{
    for (size_t i = 0; i < s_tables.radioCount; i++)
        if (s_tables.radios[i].index == index) return &s_tables.radios[i];
    return nullptr;
}

bool IsWireless(int index)
{
    return RadioByIndex(index) != nullptr;
}

uint16_t SsidIndexOf(const char *interface)
{
    const Config *config = TheConfig();
    for (uint16_t i = 0; i < ROUTER_SDK_SSIDS && config->hostapd[i][0]; i++) {
        const char *slash = strrchr(config->hostapd[i], '/');
        if (slash && strcmp(slash + 1, interface) == 0) return i;
    }
    // Without a list they are in the order of their names, as HostapdSockets() has them.
    uint16_t before = 0;
    for (size_t i = 0; i < s_tables.radioCount; i++)
        if (strcmp(s_tables.radios[i].name, interface) < 0) before++;
    return before;
}

const Station *Stations(size_t *count)
{
    *count = s_tables.stationCount;
    return s_tables.stations;
}

const Station *StationOf(const uint8_t mac[6])
{
    for (size_t i = 0; i < s_tables.stationCount; i++)
        if (SameMac(s_tables.stations[i].mac, mac)) return &s_tables.stations[i];
    return nullptr;
}

uint16_t ScanResults(AdjWifi *neighbours)
{
    memcpy(neighbours, s_tables.neighbours, s_tables.neighbourCount * sizeof *neighbours);
    return s_tables.neighbourCount;
}
