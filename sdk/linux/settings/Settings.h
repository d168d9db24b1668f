// Settings.h - the one configuration and the one set of settings, and how a setting is changed: kept, put in force, or
//              neither.
// State:    both; the settings are read under the lock of the devices (cache/Devices.h) and changed under the lock of the
//           changes as well, which is taken first.
// Threads:  any.
#pragma once

#include "sdk/linux/access/Enforce.h"
#include "sdk/linux/base/Lock.h"
#include "sdk/linux/settings/Config.h"
#include "sdk/linux/settings/State.h"

// Fixed once the library has started.
const Config *TheConfig();
// Under the lock of the devices, or that of the changes.
State *TheState();

// Reads configuration and settings. Called once, before there are threads.
void LoadSettings();

pthread_mutex_t *ChangesLock();

// Writes the settings to their file. RESULT_OK, RESULT_BAD_KEY or RESULT_NOT_SAVED. Under the lock of the changes.
int StoreSettings();

// Each returns RESULT_OK, or the settings are as they were: RESULT_BAD_VALUE, RESULT_FULL, RESULT_NOT_SAVED,
// RESULT_KERNEL.
int ChangeAccess(const uint8_t mac[6], bool refused);
int ChangeLimit(const uint8_t mac[6], bool up, int64_t bytesPerSecond);
int ChangeDeviceName(const uint8_t mac[6], const char *name);

// Changes what concerns no device: `edit` is given the settings and `user`, and they are stored.
int ChangeState(void (*edit)(State *state, const void *user), const void *user);

// Puts everything in force that `places` has and `before` had not, or has anew. `before` may be null: everything.
// `rulesLost`: somebody else has changed the rules. Returns false if something is not in force.
bool PutInForce(const Places *places, const Places *before, bool rulesLost);
