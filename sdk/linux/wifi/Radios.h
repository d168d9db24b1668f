// Radios.h - the machine's wireless interfaces, their stations and what the last scan saw, as nl80211 tells them.
// State:    one table of each.
// Threads:  RadiosOpen(), RadiosRead() the cache thread; the others whoever holds the cache's lock.
#pragma once

#include <cstddef>
#include <cstdint>

#include "sdk/RouterSdk.h"
#include "sdk/linux/settings/Config.h"

constexpr size_t kMaxRadios = 16;
constexpr size_t kMaxStations = 256;

struct Radio {
    int index; // number of the interface
    char name[kMaxInterfaceName];
    uint32_t frequency; // MHz; 0 if not known
    uint16_t width;     // MHz
};

struct Station {
    uint8_t mac[6];
    int radio;         // number of the interface
    uint16_t receive;  // Mbit/s, from the station
    uint16_t transmit; // Mbit/s, to it
};

// Opens the sockets to the kernel's wireless part, if it has one. Returns the descriptor that tells of news, or -1.
int RadiosOpen();

// Drops the news, and reads everything anew; RadiosTake() puts it in use, under the lock.
void RadiosRead();
void RadiosTake();

// The wireless interface of a number, or null.
const Radio *RadioByIndex(int index);
bool IsWireless(int index);

// The index of the SSID that an interface carries: its place among the configured hostapd sockets, else among the
// wireless interfaces.
uint16_t SsidIndexOf(const char *interface);

// All stations.
const Station *Stations(size_t *count);

// The station with this MAC, or null.
const Station *StationOf(const uint8_t mac[6]);

// What the last scan saw; returns the number, at most ROUTER_SDK_ADJ_WIFI.
uint16_t ScanResults(AdjWifi *neighbours);
