// Networks.h - keeps every hostapd at what the platform has set, also after it has restarted.
// State:    which hostapds have been told.
// Threads:  the cache thread.
#pragma once

#include "sdk/linux/settings/Config.h"

// Tells each hostapd that is new since the last call its settings, and those whose black list has changed the list.
// May wait for a hostapd that hangs, so no lock is held.
void NetworksKeep(const Config *config, const uint8_t (*black)[6], uint16_t blackCount);
