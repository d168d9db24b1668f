// The functions about the device table.
#include "sdk/sim/Call.h"
#include "sdk/sim/Copies.h"
#include "sdk/sim/Traffic.h"

// Queries and settings of one device: `body` sees it only when it is known.
template <typename Body>
static int AskDevice(const char *function, const uint8_t mac[6], Body body)
{
    ArgumentText arguments;
    return Ask(function, AddMac(arguments, "mac", mac), [&](Household &home) -> int {
        Device *device = FindDevice(&home, mac);
        return device ? body(home, *device) : int(SIM_UNKNOWN);
    });
}

template <typename Body>
static int ChangeDevice(const char *function, const uint8_t mac[6], const ArgumentText &arguments, Body body)
{
    return Change(function, arguments, [&](Household &home) -> int {
        Device *device = FindDevice(&home, mac);
        return device ? body(*device) : int(SIM_UNKNOWN);
    });
}

int get_devs_cfg(DevCfg *d, uint16_t *count)
{
    return Ask(__func__, ArgumentText(), [&](Household &home) -> int {
        uint16_t there = 0;
        for (uint16_t i = 0; i < home.deviceCount; i++) {
            if (!DeviceIsThere(&home, &home.devices[i])) continue;
            if (there < ROUTER_SDK_DEVICES) FillDevCfg(&d[there], &home.devices[i]);
            there++;
        }
        *count = there;
        return SIM_OK;
    });
}

int get_dev_cfg(DevCfg *d, const uint8_t mac[6])
{
    return AskDevice(__func__, mac, [&](Household &, Device &device) -> int {
        FillDevCfg(d, &device);
        return SIM_OK;
    });
}

int set_dev_access_control(DevCfg d)
{
    ArgumentText arguments;
    return ChangeDevice(__func__, d.mac, AddDevice(arguments, d), [&](Device &device) -> int {
        if (d.access > 1) return SIM_BAD_VALUE;
        device.access = d.access;
        device.changed = d.changed;
        return SIM_OK;
    });
}

int get_dev_name(const uint8_t mac[6], char name[64])
{
    return AskDevice(__func__, mac, [&](Household &, Device &device) { return CopyOut(name, 64, device.name); });
}

int set_dev_name(const uint8_t mac[6], const char *name)
{
    ArgumentText arguments;
    AddMac(arguments, "mac", mac);
    return ChangeDevice(__func__, mac, AddText(arguments, "name", name, SIZE_MAX),
                        [&](Device &device) { return TakeText(device.name, sizeof device.name, name); });
}

static uint64_t RateOf(const char *function, const uint8_t mac[6], uint64_t (*rate)(const Household *, const Device *))
{
    ArgumentText arguments;
    return Figure(function, AddMac(arguments, "mac", mac), [&](Household &home) -> uint64_t {
        const Device *device = FindDevice(&home, mac);
        return device ? rate(&home, device) : 0;
    });
}

uint64_t get_dev_us_bw(const uint8_t mac[6])
{
    return RateOf(__func__, mac, UpRate);
}

uint64_t get_dev_ds_bw(const uint8_t mac[6])
{
    return RateOf(__func__, mac, DownRate);
}

static int GetLimit(const char *function, const uint8_t mac[6], int64_t *limit, int64_t Device::*member)
{
    return AskDevice(function, mac, [&](Household &, Device &device) -> int {
        memcpy(limit, &(device.*member), sizeof *limit);
        return SIM_OK;
    });
}

static int SetLimit(const char *function, const uint8_t mac[6], int64_t limit, int64_t Device::*member)
{
    ArgumentText arguments;
    AddMac(arguments, "mac", mac);
    return ChangeDevice(function, mac, AddNumber(arguments, "limit", limit), [&](Device &device) -> int {
        if (limit < 0 || limit > kMaxNumber) return SIM_BAD_VALUE;
        device.*member = limit;
        return SIM_OK;
    });
}

int get_dev_us_max_bw(const uint8_t mac[6], int64_t *limit)
{
    return GetLimit(__func__, mac, limit, &Device::maxUp);
}

int get_dev_ds_max_bw(const uint8_t mac[6], int64_t *limit)
{
    return GetLimit(__func__, mac, limit, &Device::maxDown);
}

int set_dev_us_max_bw(const uint8_t mac[6], int64_t limit)
{
    return SetLimit(__func__, mac, limit, &Device::maxUp);
}

int set_dev_ds_max_bw(const uint8_t mac[6], int64_t limit)
{
    return SetLimit(__func__, mac, limit, &Device::maxDown);
}

int get_dev_speed(const uint8_t mac[6], uint16_t which, uint16_t *mbps)
{
    ArgumentText arguments;
    AddMac(arguments, "mac", mac);
    return Ask(__func__, AddNumber(arguments, "which", which), [&](Household &home) -> int {
        const Device *device = FindDevice(&home, mac);
        if (!device || which > 2) return SIM_UNKNOWN;
        *mbps = LinkSpeed(&home, device, which);
        return SIM_OK;
    });
}

int get_dev_black_list(uint8_t (*macs)[6], uint16_t *count)
{
    return Ask(__func__, ArgumentText(), [&](Household &home) -> int {
        memcpy(macs, home.black, home.blackCount * sizeof home.black[0]);
        *count = home.blackCount;
        return SIM_OK;
    });
}
