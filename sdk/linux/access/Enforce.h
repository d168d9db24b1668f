// Enforce.h - puts settings in force in the kernel: rules by nft, limits by tc.
// State:    which processes were ours, so that their changes are told from those of others.
// Threads:  whoever holds the lock of the changes (settings/Settings.h); WasOurs() any.
#pragma once

#include "sdk/linux/settings/Config.h"
#include "sdk/linux/settings/State.h"

// Where the settings have to be in force.
struct Places {
    bool hasLan;
    int lanIndex; // number of the interface: another one after it has gone and come back
    char lan[kMaxInterfaceName];
    uint16_t wanCount;
    char wans[ROUTER_SDK_WANS][kMaxInterfaceName]; // only those that are there
    int wanIndexes[ROUTER_SDK_WANS];
    bool masquerade;
    uint16_t blackCount;
    uint8_t black[ROUTER_SDK_BLACK_LIST][6];
};

// All return RESULT_OK or RESULT_KERNEL; the reason is in the log.

// All rules, in place of those that were there.
int EnforceRules(const Places *places, const State *state);
// All limits of one interface, in place of those that were there.
int EnforceLimits(const char *interface, const State *state, bool up);

// One device, whose settings are already in `state`, in `place`.
int EnforceAccess(const Places *places, const State *state, uint16_t place);
int EnforceLimit(const Places *places, const State *state, uint16_t place, bool up);

// Whether a process of this number is or was one that EnforceX() has started.
bool WasOurs(uint32_t process);
