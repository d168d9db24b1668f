#include "sdk/linux/wifi/Networks.h"

#include <cstring>

#include "sdk/linux/base/Result.h"
#include "sdk/linux/base/Say.h"
#include "sdk/linux/cache/Devices.h"
#include "sdk/linux/settings/Settings.h"
#include "sdk/linux/wifi/Hostapd.h"

namespace
{
struct Told {
    char path[kSocketPath];
    uint64_t identity; // of the hostapd that was told; 0: none
    bool settingsDue;
    bool denyDue;
    bool denies; // its list is not empty
    int tries;   // that have failed
};
} // namespace

// All that this module remembers.
static struct {
    Told told[ROUTER_SDK_SSIDS];
    uint8_t black[ROUTER_SDK_BLACK_LIST][6];
    uint16_t blackCount;
    uint16_t next; // whose turn it is
} s_networks;

static const int kMostTries = 3;

// What has been told at a path, in a place of its own.
static Told *ToldAt(const char *path)
{
    for (Told &told : s_networks.told)
        if (strcmp(told.path, path) == 0) return &told;
    for (Told &told : s_networks.told) {
        if (told.path[0] && HostapdIdentity(told.path) != 0) continue;
        told = {};
        CopyText(told.path, sizeof told.path, path);
        return &told;
    }
    return nullptr;
}

static int TellSettings(const char *path)
{
    SsidSettings settings = {};
    uint8_t wps = 0;
    bool hasWps;
    {
        Lock lock(DevicesLock());
        const State *state = TheState();
        for (const SsidSettings &ssid : state->ssids)
            if (ssid.interface[0] && strcmp(ssid.interface, InterfaceOf(path)) == 0) settings = ssid;
        hasWps = state->hasWps;
        wps = state->wps;
    }
    if (!settings.hasRecord && !settings.hasSwitch && !hasWps) return RESULT_OK;
    return HostapdApply(path, &settings, hasWps ? &wps : nullptr);
}

// Tells a hostapd what is due. False if it does not do it.
static bool Tell(Told *told)
{
    // Once: a hostapd that takes long to answer does it nevertheless, and doing it again would send its stations away.
    const bool settingsDue = told->settingsDue;
    told->settingsDue = false;
    if (settingsDue && TellSettings(told->path) == RESULT_WIFI) return false;
    if (told->denyDue && HostapdDeny(told->path, s_networks.black, s_networks.blackCount) != RESULT_OK) return false;
    told->denies = told->denyDue ? s_networks.blackCount > 0 : told->denies;
    told->denyDue = false;
    return true;
}

void NetworksKeep(const Config *config, const uint8_t (*black)[6], uint16_t blackCount)
{
    if (KeyIsRight(config, KEY_HOSTAPD) != RESULT_OK) return;
    SocketPaths paths;
    const uint16_t count = HostapdSockets(config, paths);
    const bool newBlack =
        blackCount != s_networks.blackCount || memcmp(black, s_networks.black, blackCount * sizeof *black) != 0;
    memcpy(s_networks.black, black, blackCount * sizeof *black);
    s_networks.blackCount = blackCount;
    for (uint16_t i = 0; i < count; i++) {
        const uint64_t identity = HostapdIdentity(paths[i]);
        Told *told = identity ? ToldAt(paths[i]) : nullptr;
        if (!told) continue;
        const bool isNew = told->identity != identity;
        if (!isNew && !newBlack) continue;
        if (isNew) {
            told->identity = identity;
            told->settingsDue = true;
            told->denies = false;
        }
        told->denyDue = blackCount > 0 || told->denies;
        told->tries = 0;
    }
    // One that hangs holds up the others only until the next time, and has its turn behind them.
    for (uint16_t i = 0; i < ROUTER_SDK_SSIDS; i++) {
        const uint16_t place = uint16_t((s_networks.next + i) % ROUTER_SDK_SSIDS);
        Told *told = &s_networks.told[place];
        if (!told->path[0] || HostapdIdentity(told->path) != told->identity || told->tries == kMostTries) continue;
        if (Tell(told)) continue;
        told->tries++;
        s_networks.next = uint16_t(place + 1);
        break;
    }
}
