// Networks.h - keeps every hostapd at what the platform has set, also after it has restarted.
// State:    which hostapds have been told.
// Threads:  any; NetworksKeep() the cache thread.
#pragma once

#include "sdk/linux/settings/Config.h"
#include "sdk/linux/settings/State.h"
#include "sdk/linux/wifi/Hostapd.h"

// Tells each hostapd that is new since the last call its settings, and those whose black list has changed the list.
// May wait for a hostapd that hangs, so the caller holds no lock.
void NetworksKeep(const Config *config, const uint8_t (*black)[6], uint16_t blackCount);

// Tells the hostapd at a path what hasRecord and hasSwitch of `wanted` name, and keeps what it was told, in this order:
// what it refuses is not kept. May wait as above. Returns RESULT_OK, what HostapdApply() answers, RESULT_FULL or
// RESULT_NOT_SAVED.
int ChangeNetwork(const char *path, const SsidSettings *wanted);

// The same with the button of all networks, WPS.
int ChangeWps(const SocketPaths paths, uint16_t count, uint8_t on);
