// Household.h - all that the simulated router knows: one router, its connections and the devices behind it.
// State:    the one Household is kept by Call.cpp; the procedures here work on the one they are given.
// Threads:  whoever holds the lock of Call.cpp.
#pragma once

#include "sdk/RouterSdk.h"

constexpr uint16_t kMaxDevices = 512;   // more than the 129 of get_devs_cfg, so that an overfull table can be tried
constexpr uint16_t kMaxTimetable = 256; // entries

// The largest figure that goes through a state file unchanged: JSON numbers are written with 15 digits.
constexpr int64_t kMaxNumber = 999999999999999;

// What the simulated router's functions answer when they do not succeed.
enum SimResult {
    SIM_OK = 0,
    SIM_UNKNOWN = 1,   // no such index, port, module or MAC
    SIM_BAD_VALUE = 2, // a value that no router would take
    SIM_TOO_LONG = 3,  // a text that does not fit
    SIM_NO_FIGURE = 4, // the host does not tell
};

struct Account {
    uint8_t on;
    char user[17]; // 16 characters and a NUL
    char password[17];
};

struct Device {
    uint8_t mac[6];
    char name[64];
    uint32_t ip;
    uint8_t link;
    uint16_t port;
    uint8_t access;
    uint8_t changed;
    uint8_t onlineAtStart; // what the state file says
    uint8_t online;        // what the timetable has made of it
    uint16_t speed;        // Mbit/s
    uint32_t typicalUp;    // bytes per second around which the traffic varies
    uint32_t typicalDown;
    int64_t maxUp; // bytes per second, 0 for no limit
    int64_t maxDown;
    uint64_t sentMilliBytes; // thousandths of bytes, so that a rate times milliseconds loses nothing
    uint64_t receivedMilliBytes;
};

struct TimetableEntry {
    int64_t nextMs;   // after the load of the library
    int64_t periodMs; // 0 for once
    uint16_t device;
    uint8_t join; // 1 join, 0 leave
};

struct Household {
    // router
    uint8_t mac[6];
    char serial[64];
    char pin[13];
    RouterVersion version;
    char vendor[64];
    char model[64];
    char name[32];
    uint8_t isPlug;
    uint8_t ipv6;
    uint8_t led;
    uint64_t uptimeAtStart; // seconds
    int64_t clockOffset;    // seconds that sync_time moved the router's date away from the host's
    char redirection[1024];
    char romUpdate[1024];
    char httpTestUrl[1024];
    uint8_t fullLoad[16]; // by selector
    CpuCfg cpu;
    MemCfg memory;

    // network
    LanCfg lan;
    uint16_t lanPorts;
    uint32_t dns[2];
    uint16_t wanCount;
    WanCfg wans[ROUTER_SDK_WANS];

    // Wi-Fi
    uint8_t radio;
    uint8_t wps;
    uint8_t modules[ROUTER_SDK_WIFI_MODULES];
    uint16_t ssidCount;
    SsidCfg ssids[ROUTER_SDK_SSIDS];
    uint16_t neighbourCount;
    AdjWifi neighbours[ROUTER_SDK_ADJ_WIFI];

    // services
    Account ftp;
    Account samba;
    Account telnet;

    // devices; connected now or not, none is ever forgotten, so that an index stays good
    uint16_t deviceCount;
    Device devices[kMaxDevices];
    uint16_t blackCount;
    uint8_t black[ROUTER_SDK_BLACK_LIST][6];
    uint16_t timetableCount;
    TimetableEntry timetable[kMaxTimetable];

    // what runs by itself
    int64_t loadMs;  // on the clock of SimNowMs
    int64_t bootMs;  // this and the next: milliseconds after the load
    int64_t movedMs; // up to here the household has been moved
    uint64_t uptimeAtBoot;
};

// Fills a zeroed household with the one that is compiled in.
void HouseholdDefaults(Household *home);

// Fills an element of a list with what holds when the state file does not say otherwise. `index` is its place there.
void BlankWan(WanCfg *wan, uint16_t index);
void BlankSsid(SsidCfg *ssid, uint16_t index);
void BlankDevice(Device *device);

// The device with this MAC, or null.
Device *FindDevice(Household *home, const uint8_t mac[6]);

// Whether a device is connected now: the timetable has it at home and, for Wi-Fi, the radios are on.
bool DeviceIsThere(const Household *home, const Device *device);

// Fills the record of a device as the interface shows it. A name of 16 bytes and more fills its field, without a
// terminator.
void FillDevCfg(DevCfg *record, const Device *device);
