// Hostapd.h - what hostapd keeps: names, keys and switches of the wireless networks, through its control sockets.
// State:    none; the settings that a restarted hostapd has to be told again are in settings/State.h.
// Threads:  any. A hostapd that hangs is waited for up to three seconds, so nothing here is called under a lock, but for
//           the one of what it is told (Networks.cpp).
#pragma once

#include "sdk/RouterSdk.h"
#include "sdk/linux/settings/Config.h"
#include "sdk/linux/settings/State.h"

constexpr size_t kSocketPath = 128;
typedef char SocketPaths[ROUTER_SDK_SSIDS][kSocketPath];

// The sockets in the order of the SSIDs: those of the configuration, else all in /run/hostapd by name. Returns their
// number.
uint16_t HostapdSockets(const Config *config, SocketPaths paths);

// The interface's name: the end of a socket's path.
const char *InterfaceOf(const char *path);

// All return RESULT_OK or RESULT_WIFI, which is also said in the log.

// Fills the record as far as hostapd tells: ssid, enabled, security, channel. A key is only told while WPS is on.
// `wps` may be null.
int HostapdRead(const char *path, SsidCfg *ssid, uint8_t *wps);

// Tells a hostapd the settings. A record with a key that is none is RESULT_BAD_VALUE.
int HostapdApply(const char *path, const SsidSettings *settings, const uint8_t *wps);

int HostapdSwitch(const char *path, bool on);

// Whether a hostapd answers at all, and since which process: 0 if it does not. A new number is a new hostapd.
uint64_t HostapdIdentity(const char *path);

// Refuses these devices. Those that are connected are sent away.
int HostapdDeny(const char *path, const uint8_t (*macs)[6], uint16_t count);

// Checks a key: empty (an open network), 8 to 63 printable characters, or 64 hexadecimal digits.
bool IsWifiKey(const char *key);
