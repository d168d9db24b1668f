// State.h - the settings that are the library's own, and the file that keeps them.
// State:    Settings.cpp keeps the one State; the procedures here work on what they are given.
// Threads:  whoever holds the lock of what is given.
#pragma once

#include "sdk/RouterSdk.h"
#include "sdk/linux/base/Texts.h"

constexpr uint16_t kMaxSettings = 512; // devices with settings
constexpr size_t kFullLoads = 16;
constexpr size_t kMaxUrl = 512;
constexpr size_t kInterfaceName = 16;

// What has been set for one device. A place is never given to another device while the process runs, unless nothing
// is set in it: its index is the number of the device's limits in the kernel.
struct DeviceSettings {
    uint8_t mac[6]; // zeros: the place is free
    uint8_t refused;
    int64_t maxUp; // bytes per second, 0 for no limit
    int64_t maxDown;
    char name[64]; // empty: not set
};

// What has been set for one wireless network, by the name of its interface, and has to be told again to a hostapd that
// has restarted.
struct SsidSettings {
    char interface[kInterfaceName]; // empty: the place is free
    uint8_t hasRecord;              // ssid to channel below were set
    uint8_t hasSwitch;              // on was set
    uint8_t on;
    char ssid[33];
    char key[65]; // empty: the one that hostapd has
    uint8_t open; // no key at all
    uint8_t hidden;
    uint16_t channel; // 0: not set
};

struct State {
    uint8_t routerMac[6]; // zeros: not chosen yet
    char name[32];        // empty: not set
    char httpTestUrl[kMaxUrl];
    uint8_t fullLoad[kFullLoads];
    uint8_t hasWps;
    uint8_t wps;
    SsidSettings ssids[ROUTER_SDK_SSIDS];
    uint16_t deviceCount; // this and the next stay last: what concerns no device is everything before them
    DeviceSettings devices[kMaxSettings];
};

// The place of a device, or null.
DeviceSettings *FindSettings(State *state, const uint8_t mac[6]);

// The same, made if there is none. Null if all places are taken.
DeviceSettings *MakeSettings(State *state, const uint8_t mac[6]);

// The place of a wireless network, made if there is none. Null if all are taken.
SsidSettings *MakeSsidSettings(State *state, const char *interface);

// Whether MakeSsidSettings() would succeed.
bool HasRoomForSsid(const State *state, const char *interface);

// Writes the file: whole or not at all, with the one before it kept as PATH.last. False with errno if that fails; then
// both are as they were.
bool SaveState(const char *path, const State *state);

enum StateLoad {
    STATE_LOADED,
    STATE_NONE,  // there is no file yet
    STATE_LAST,  // the file is damaged; PATH.last was read instead
    STATE_FAILED // both are damaged, or cannot be read
};

// Fills `state`, which holds settings or zeros; after STATE_NONE and STATE_FAILED it is empty. A damaged file is kept as PATH.bad. What was wrong is
// one line of Say().
StateLoad LoadState(const char *path, State *state);

// Reads the text of a file. Only one that is complete, with the right check sum, is taken; else false, and `state` is
// empty.
bool ReadState(const char *text, State *state);
