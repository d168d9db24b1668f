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
    bool denies;       // its list is not empty
};
} // namespace

// All that this module remembers.
static struct {
    Told told[ROUTER_SDK_SSIDS];
    uint8_t black[ROUTER_SDK_BLACK_LIST][6];
    uint16_t blackCount;
} s_networks;

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

static void TellSettings(const char *path)
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
    if (settings.hasRecord || settings.hasSwitch || hasWps) HostapdApply(path, &settings, hasWps ? &wps : nullptr);
}

void NetworksKeep(const Config *config, const uint8_t (*black)[6], uint16_t blackCount)
{
    if (KeyIsRight(config, KEY_HOSTAPD) != RESULT_OK) return;
    SocketPaths paths;
    const uint16_t count = HostapdSockets(config, paths);
    const bool newBlack =
        blackCount != s_networks.blackCount || memcmp(black, s_networks.black, blackCount * sizeof *black) != 0;
    for (uint16_t i = 0; i < count; i++) {
        const uint64_t identity = HostapdIdentity(paths[i]);
        Told *told = identity ? ToldAt(paths[i]) : nullptr;
        if (!told) continue;
        const bool isNew = told->identity != identity;
        if (isNew) {
            told->identity = identity;
            told->denies = false;
            TellSettings(paths[i]);
        }
        if ((isNew || newBlack) && (blackCount > 0 || told->denies))
            told->denies = HostapdDeny(paths[i], black, blackCount) == RESULT_OK && blackCount > 0;
    }
    memcpy(s_networks.black, black, blackCount * sizeof *black);
    s_networks.blackCount = blackCount;
}
