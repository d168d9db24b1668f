#define LOG_MODULE "ProtoolSdk"
#include "functions/Devices.h"

#include <algorithm>
#include <initializer_list>
#include <iterator>

#include "functions/Parameters.h"
#include "functions/Records.h"
#include "platform/Settings.h"
#include "subdev/DeviceTable.h"
#include "subdev/Subdev.h"

static const uint16_t kMaxDevices = 128; // in one reply; the router may fill in one more

template <typename Body>
static int UnderTable(Body body)
{
    return WithDeviceTable(body, kDispatcher);
}

int DeviceAccessSetting(WireReader *parameters, WireWriter *)
{
    DevCfg device = TakeRecord<DevCfg>(parameters);
    device.changed = static_cast<uint8_t>(runMode);
    return UnderTable([&] { return set_dev_access_control(device); });
}

int DeviceBandwidthQuery(WireReader *parameters, WireWriter *reply)
{
    const uint8_t *mac = TakeMac(parameters);
    return UnderTable([&] {
        Put64(reply, get_dev_us_bw(mac));
        Put64(reply, get_dev_ds_bw(mac));
        return 0;
    });
}

int DeviceLimitsQuery(WireReader *parameters, WireWriter *reply)
{
    const uint8_t *mac = TakeMac(parameters);
    return UnderTable([&] {
        int result = 0;
        for (auto get : {get_dev_us_max_bw, get_dev_ds_max_bw}) {
            int64_t limit = 0;
            result = FirstFailure(result, ZeroUnless(get(mac, &limit), &limit));
            Put64(reply, static_cast<uint64_t>(limit));
        }
        return result;
    });
}

int DeviceLimitsSetting(WireReader *parameters, WireWriter *)
{
    const uint8_t *mac = TakeMac(parameters);
    const int64_t up = static_cast<int64_t>(Take64(parameters));
    const int64_t down = static_cast<int64_t>(Take64(parameters));
    return UnderTable([&] {
        const int result = set_dev_us_max_bw(mac, up);
        return FirstFailure(result, set_dev_ds_max_bw(mac, down));
    });
}

int DeviceNameQuery(WireReader *parameters, WireWriter *reply)
{
    const uint8_t *mac = TakeMac(parameters);
    struct {
        char text[64];
    } name = {};
    return UnderTable([&] {
        ZeroUnless(get_dev_name(mac, name.text), &name);
        WirePutBytes(reply, &name, sizeof name);
        return 0;
    });
}

int DeviceNameSetting(WireReader *parameters, WireWriter *)
{
    const uint8_t *mac = TakeMac(parameters);
    const char *name = TakeText(parameters);
    return UnderTable([&] { return set_dev_name(mac, name); });
}

int DeviceConfigQuery(WireReader *parameters, WireWriter *reply)
{
    const uint8_t *mac = TakeMac(parameters);
    return UnderTable([&] {
        DevCfg device = {};
        const int result = ZeroUnless(get_dev_cfg(&device, mac), &device);
        PutRecord(reply, device);
        return result;
    });
}

int DevicesQuery(WireReader *, WireWriter *reply)
{
    return UnderTable([&] {
        DevCfg devices[ROUTER_SDK_DEVICES] = {};
        uint16_t count = 0;
        ZeroUnless(get_devs_cfg(devices, &count), &count);
        count = std::min(count, kMaxDevices);
        Put16(reply, count);
        PutRecords(reply, devices, count, kMaxDevices);
        return 0;
    });
}

int DeviceSpeedsQuery(WireReader *parameters, WireWriter *reply)
{
    const uint8_t *mac = TakeMac(parameters);
    uint16_t mbps[3] = {}; // negotiated, receive, transmit
    int result = 0;
    const int error = UnderTable([&] {
        for (uint16_t which = 0; which < std::size(mbps); which++)
            result = FirstFailure(result, ZeroUnless(get_dev_speed(mac, which, &mbps[which]), &mbps[which]));
        return 0;
    });
    if (error != 0) return error;
    LOG_AS(LOG_LEVEL_DEBUG, kDispatcher, "speed1=%d Mbps", mbps[0]);
    for (uint16_t speed : mbps) Put16(reply, speed);
    return result;
}

int BlackListQuery(WireReader *, WireWriter *reply)
{
    return UnderTable([&] {
        uint8_t macs[ROUTER_SDK_BLACK_LIST][6] = {};
        uint16_t count = 0;
        const int result = ZeroUnless(get_dev_black_list(macs, &count), &count);
        WirePutBytes(reply, macs, sizeof macs[0] * std::min<size_t>(count, ROUTER_SDK_BLACK_LIST));
        return result;
    });
}

int DeviceReportRequest(WireReader *, WireWriter *)
{
    RequestSubdev();
    return 0;
}
