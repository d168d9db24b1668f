// The functions about the household's devices. All of them answer from memory, and wait for no lock but that of the
// devices, which is held for copies alone; only settings take longer.
#include "sdk/RouterSdk.h"

#include <cstdint>
#include <cstring>
#include <initializer_list>

#include "sdk/linux/base/Clock.h"
#include "sdk/linux/base/Result.h"
#include "sdk/linux/cache/BlackList.h"
#include "sdk/linux/cache/Cache.h"
#include "sdk/linux/cache/Devices.h"
#include "sdk/linux/settings/Settings.h"

// Keys without which there is no device table.
static int TableResult()
{
    StartRouter();
    const Config *config = TheConfig();
    for (const Key key : {KEY_LAN, KEY_PORTS, KEY_LEASES})
        if (KeyIsRight(config, key) != RESULT_OK) return RESULT_BAD_KEY;
    return RESULT_OK;
}

// What is known of a device: from the table, from the settings, or both. Under the lock of the devices.
namespace
{
struct Known {
    const Device *device;
    const DeviceSettings *settings;
};
} // namespace

static bool IsKnown(const uint8_t mac[6], Known *known)
{
    known->device = FindDevice(mac);
    known->settings = FindSettings(TheState(), mac);
    return known->device || known->settings;
}

// The name that the platform has set, else the one that the device told for its lease.
static const char *NameOf(const Known &known)
{
    if (known.settings && known.settings->name[0]) return known.settings->name;
    return known.device ? known.device->name : "";
}

static DevCfg MakeRecord(const uint8_t mac[6], const Known &known)
{
    DevCfg record = {};
    memcpy(record.mac, mac, sizeof record.mac);
    FillField(record.name, sizeof record.name, NameOf(known));
    record.access = !(known.settings && known.settings->refused);
    if (!known.device) return record;
    record.link = known.device->link;
    record.port = known.device->port;
    record.ip = known.device->ip;
    return record;
}

// First the devices, then the settings of those: each list is gone through once, however long both are.
int get_devs_cfg(DevCfg *d, uint16_t *count)
{
    static_assert(ROUTER_SDK_DEVICES < UINT8_MAX, "the number of a record has room in a byte");
    const int result = TableResult();
    if (result != RESULT_OK) return result;
    uint8_t records[kMaxDevices] = {}; // number of a device's record, from 1
    uint16_t present = 0;
    size_t places;
    Lock lock(DevicesLock());
    const Device *devices = Devices(&places);
    for (size_t i = 0; i < places; i++) {
        if (!devices[i].present) continue;
        if (present < ROUTER_SDK_DEVICES) {
            d[present] = MakeRecord(devices[i].mac, {&devices[i], nullptr});
            records[i] = uint8_t(present + 1);
        }
        present++;
    }
    const State *state = TheState();
    for (uint16_t i = 0; i < state->deviceCount; i++) {
        const DeviceSettings &settings = state->devices[i];
        const Device *device = FindDevice(settings.mac);
        if (device && records[device - devices])
            d[records[device - devices] - 1] = MakeRecord(settings.mac, {device, &settings});
    }
    *count = present;
    return RESULT_OK;
}

int get_dev_cfg(DevCfg *d, const uint8_t mac[6])
{
    const int result = TableResult();
    if (result != RESULT_OK) return result;
    Lock lock(DevicesLock());
    Known known;
    if (!IsKnown(mac, &known)) return RESULT_UNKNOWN;
    *d = MakeRecord(mac, known);
    return RESULT_OK;
}

int set_dev_access_control(DevCfg d)
{
    StartRouter();
    if (d.access > 1) return RESULT_BAD_VALUE;
    return ChangeAccess(d.mac, d.access == 0);
}

int get_dev_name(const uint8_t mac[6], char name[64])
{
    const int result = TableResult();
    if (result != RESULT_OK) return result;
    Lock lock(DevicesLock());
    Known known;
    if (!IsKnown(mac, &known)) return RESULT_UNKNOWN;
    CopyText(name, 64, NameOf(known));
    return RESULT_OK;
}

static bool KnownNow(const uint8_t mac[6])
{
    Lock lock(DevicesLock());
    Known known;
    return IsKnown(mac, &known);
}

int set_dev_name(const uint8_t mac[6], const char *name)
{
    StartRouter();
    return KnownNow(mac) ? ChangeDeviceName(mac, name) : int(RESULT_UNKNOWN);
}

// ---- Traffic ----

static uint64_t RateOf(const uint8_t mac[6], Direction direction)
{
    StartRouter();
    WantRates();
    Lock lock(DevicesLock());
    const Device *device = FindDevice(mac);
    return device ? device->rate[direction] : 0;
}

uint64_t get_dev_us_bw(const uint8_t mac[6])
{
    return RateOf(mac, SENT);
}

uint64_t get_dev_ds_bw(const uint8_t mac[6])
{
    return RateOf(mac, RECEIVED);
}

static int GetLimit(const uint8_t mac[6], bool up, int64_t *limit)
{
    StartRouter();
    Lock lock(DevicesLock());
    Known known;
    if (!IsKnown(mac, &known)) return RESULT_UNKNOWN;
    *limit = !known.settings ? 0 : up ? known.settings->maxUp : known.settings->maxDown;
    return RESULT_OK;
}

int get_dev_us_max_bw(const uint8_t mac[6], int64_t *limit)
{
    return GetLimit(mac, true, limit);
}

int get_dev_ds_max_bw(const uint8_t mac[6], int64_t *limit)
{
    return GetLimit(mac, false, limit);
}

int set_dev_us_max_bw(const uint8_t mac[6], int64_t limit)
{
    StartRouter();
    return ChangeLimit(mac, true, limit);
}

int set_dev_ds_max_bw(const uint8_t mac[6], int64_t limit)
{
    StartRouter();
    return ChangeLimit(mac, false, limit);
}

int get_dev_speed(const uint8_t mac[6], uint16_t which, uint16_t *mbps)
{
    StartRouter();
    if (which > 2) return RESULT_BAD_VALUE;
    Lock lock(DevicesLock());
    const Device *device = FindDevice(mac);
    if (!device) return RESULT_UNKNOWN;
    if (!device->present || !device->speed[which]) return RESULT_NO_FIGURE;
    *mbps = device->speed[which];
    return RESULT_OK;
}

int get_dev_black_list(uint8_t (*macs)[6], uint16_t *count)
{
    StartRouter();
    if (KeyIsRight(TheConfig(), KEY_BLACK_LIST) != RESULT_OK) return RESULT_BAD_KEY;
    Lock lock(DevicesLock());
    *count = BlackList(macs);
    return RESULT_OK;
}
