#include "sdk/linux/settings/Settings.h"

#include <cerrno>
#include <cstddef>
#include <cstring>

#include "sdk/linux/base/Files.h"
#include "sdk/linux/base/Result.h"
#include "sdk/linux/base/Say.h"
#include "sdk/linux/cache/Devices.h"

// All that this module remembers.
static Config s_config;
static State s_state;
static pthread_mutex_t s_changes = PTHREAD_MUTEX_INITIALIZER;
// Guarded by s_changes.
static Places s_places; // where settings have to be in force, since PutInForce() was called last
static bool s_inForce;  // the kernel has all settings

const Config *TheConfig()
{
    return &s_config;
}

State *TheState()
{
    return &s_state;
}

pthread_mutex_t *ChangesLock()
{
    return &s_changes;
}

void LoadSettings()
{
    LoadConfig(ConfigPath(), &s_config);
    if (KeyIsRight(&s_config, KEY_STATE) != RESULT_OK) return;
    MakeFolderOf(s_config.state);
    LoadState(s_config.state, &s_state);
}

int StoreSettings()
{
    const int result = KeyIsRight(&s_config, KEY_STATE);
    if (result != RESULT_OK) return result;
    if (SaveState(s_config.state, &s_state)) return RESULT_OK;
    Say("%s: not written, nothing is changed: %s", s_config.state, strerror(errno));
    return RESULT_NOT_SAVED;
}

int ChangeState(void (*edit)(State *state, const void *user), const void *user)
{
    Lock changes(&s_changes);
    char before[offsetof(State, deviceCount)];
    memcpy(before, &s_state, sizeof before);
    {
        Lock lock(DevicesLock());
        edit(&s_state, user);
    }
    if (memcmp(before, &s_state, sizeof before) == 0) return RESULT_OK;
    const int result = StoreSettings();
    if (result == RESULT_OK) return result;
    Lock lock(DevicesLock());
    memcpy(&s_state, before, sizeof before);
    return result;
}

// Changes one device: `edit` its settings, store them, and put them in force with `enforce` (place in, result out).
template <typename Edit, typename Enforce>
static int ChangeDevice(const uint8_t mac[6], Edit edit, Enforce enforce)
{
    if (!IsDeviceMac(mac)) return RESULT_BAD_VALUE;
    Lock changes(&s_changes);
    DeviceSettings *device;
    DeviceSettings before;
    {
        Lock lock(DevicesLock());
        device = MakeSettings(&s_state, mac);
        if (!device) return RESULT_FULL;
        before = *device;
        edit(device);
    }
    if (s_inForce && memcmp(&before, device, sizeof before) == 0) return RESULT_OK;
    int result = StoreSettings();
    const bool stored = result == RESULT_OK;
    if (stored) result = enforce(uint16_t(device - s_state.devices));
    if (result == RESULT_OK) return result;
    {
        Lock lock(DevicesLock());
        *device = before;
    }
    if (stored) StoreSettings();
    return result;
}

int ChangeAccess(const uint8_t mac[6], bool refused)
{
    return ChangeDevice(
        mac, [&](DeviceSettings *device) { device->refused = refused; },
        [](uint16_t place) { return EnforceAccess(&s_places, &s_state, place); });
}

int ChangeLimit(const uint8_t mac[6], bool up, int64_t bytesPerSecond)
{
    if (bytesPerSecond < 0) return RESULT_BAD_VALUE;
    return ChangeDevice(
        mac, [&](DeviceSettings *device) { (up ? device->maxUp : device->maxDown) = bytesPerSecond; },
        [&](uint16_t place) { return EnforceLimit(&s_places, &s_state, place, up); });
}

int ChangeDeviceName(const uint8_t mac[6], const char *name)
{
    if (strnlen(name, sizeof DeviceSettings::name) == sizeof DeviceSettings::name) return RESULT_TOO_LONG;
    return ChangeDevice(
        mac,
        [&](DeviceSettings *device) {
            memset(device->name, 0, sizeof device->name);
            CopyText(device->name, sizeof device->name, name);
        },
        [](uint16_t) { return int(RESULT_OK); });
}

// ---- In force ----

static bool HasWan(const Places *places, const char *name, int index)
{
    for (uint16_t i = 0; i < places->wanCount; i++)
        if (places->wanIndexes[i] == index && strcmp(places->wans[i], name) == 0) return true;
    return false;
}

bool PutInForce(const Places *places, const Places *before, bool rulesLost)
{
    // Without its settings the router would let everybody in: the kernel keeps what it was told before.
    if (KeyIsRight(&s_config, KEY_STATE) != RESULT_OK) return false;
    Lock changes(&s_changes);
    s_places = *places;
    int result = RESULT_OK;
    const auto note = [&](int one) { result = result == RESULT_OK ? one : result; };
    const bool newLan = !before || before->lanIndex != places->lanIndex || strcmp(before->lan, places->lan) != 0;
    const bool newWans =
        !before || before->wanCount != places->wanCount || memcmp(before->wans, places->wans, sizeof places->wans) != 0;
    const bool newBlack = !before || before->blackCount != places->blackCount ||
                          memcmp(before->black, places->black, sizeof places->black) != 0;
    if (newLan || rulesLost || newBlack || (newWans && places->masquerade)) note(EnforceRules(places, &s_state));
    if (newLan && places->hasLan) note(EnforceLimits(places->lan, &s_state, false));
    for (uint16_t i = 0; i < places->wanCount; i++)
        if (!before || !HasWan(before, places->wans[i], places->wanIndexes[i]))
            note(EnforceLimits(places->wans[i], &s_state, true));
    s_inForce = result == RESULT_OK;
    return s_inForce;
}
