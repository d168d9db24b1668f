#define LOG_MODULE "ProtoolSdk"
#include "functions/Wireless.h"

#include "functions/Parameters.h"
#include "functions/Records.h"
#include "subdev/DeviceTable.h"

int SsidConfigsQuery(WireReader *, WireWriter *reply)
{
    SsidCfg ssids[ROUTER_SDK_SSIDS] = {};
    uint16_t count = 0;
    const int result = ZeroUnless(get_wlans_cfg(ssids, &count), &count);
    PutRecords(reply, ssids, count, ROUTER_SDK_SSIDS);
    return result;
}

int SsidSwitchQuery(WireReader *parameters, WireWriter *reply)
{
    uint8_t on = 0;
    const int result = ZeroUnless(get_ssid_switch(Take16(parameters), &on), &on);
    WirePut8(reply, on);
    return result;
}

int SsidSwitchSetting(WireReader *parameters, WireWriter *)
{
    const uint16_t index = Take16(parameters);
    return set_ssid_switch(index, WireGet8(parameters));
}

int SsidConfigQuery(WireReader *parameters, WireWriter *reply)
{
    SsidCfg ssid = {};
    const int result = ZeroUnless(get_ssid_cfg(Take16(parameters), &ssid), &ssid);
    LOG_AS(LOG_LEVEL_DEBUG, kDispatcher, "ssid channel %d", ssid.channel);
    PutRecord(reply, ssid);
    return result;
}

int SsidConfigSetting(WireReader *parameters, WireWriter *)
{
    const SsidCfg ssid = TakeRecord<SsidCfg>(parameters);
    return set_ssid_cfg(&ssid);
}

int AdjacentWifiQuery(WireReader *, WireWriter *reply)
{
    AdjWifi neighbours[ROUTER_SDK_ADJ_WIFI] = {};
    uint16_t count = 0;
    const int result = WithDeviceTable([&] { return get_adj_wifi_devs(neighbours, &count); }, kDispatcher);
    ZeroUnless(result, &count);
    PutRecords(reply, neighbours, count, ROUTER_SDK_ADJ_WIFI);
    return result;
}
