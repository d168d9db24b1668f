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

// Held from the look at the settings, or their change, until hostapd has been told: else one thread tells it what was
// set before, after another has told it what is set now.
static pthread_mutex_t s_telling = PTHREAD_MUTEX_INITIALIZER;

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
    Lock telling(&s_telling);
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

// ---- Changes ----

namespace
{
struct Change {
    const char *interface;
    const SsidSettings *wanted;
};
} // namespace

static void KeepNetwork(State *state, const void *user)
{
    const Change *change = static_cast<const Change *>(user);
    const SsidSettings *wanted = change->wanted;
    SsidSettings *ssid = MakeSsidSettings(state, change->interface);
    if (!ssid) return;
    const SsidSettings before = *ssid;
    if (wanted->hasRecord) {
        *ssid = *wanted;
        if (!ssid->open && !ssid->key[0]) CopyText(ssid->key, sizeof ssid->key, before.key);
        CopyText(ssid->interface, sizeof ssid->interface, before.interface);
        ssid->hasSwitch = before.hasSwitch;
        ssid->on = before.on;
    }
    if (wanted->hasSwitch) {
        ssid->hasSwitch = 1;
        ssid->on = wanted->on;
    }
}

int ChangeNetwork(const char *path, const SsidSettings *wanted)
{
    Lock telling(&s_telling);
    const Change change = {InterfaceOf(path), wanted};
    {
        Lock lock(DevicesLock());
        if (!HasRoomForSsid(TheState(), change.interface)) return RESULT_FULL;
    }
    const int result = HostapdApply(path, wanted, nullptr);
    return result == RESULT_OK ? ChangeState(KeepNetwork, &change) : result;
}

static void KeepWps(State *state, const void *user)
{
    state->hasWps = 1;
    state->wps = *static_cast<const uint8_t *>(user);
}

int ChangeWps(const SocketPaths paths, uint16_t count, uint8_t on)
{
    static const SsidSettings nothing = {};
    Lock telling(&s_telling);
    int result = RESULT_OK;
    for (uint16_t i = 0; result == RESULT_OK && i < count; i++) result = HostapdApply(paths[i], &nothing, &on);
    return result == RESULT_OK ? ChangeState(KeepWps, &on) : result;
}
