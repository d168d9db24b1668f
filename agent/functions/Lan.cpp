#include "functions/Lan.h"

#include <algorithm>
#include <initializer_list>

#include "functions/Parameters.h"
#include "functions/Records.h"

static const uint16_t kStatusRoom = 16; // bytes that the status calls may fill

int LanConfigQuery(WireReader *, WireWriter *reply)
{
    return PutRecordOf(reply, get_lan_cfg);
}

// Gets a count and limits it to `most`, the room for what is counted.
static int PortCount(int (*get)(uint16_t *count), uint16_t most, uint16_t *count)
{
    *count = 0;
    const int result = ZeroUnless(get(count), count);
    *count = std::min(*count, most);
    return result;
}

int LanTrafficQuery(WireReader *, WireWriter *reply)
{
    uint16_t ports;
    int result = PortCount(get_lan_num, ROUTER_SDK_LAN_PORTS, &ports);
    Put16(reply, ports);
    for (uint16_t port = 0; port < ports; port++) {
        for (auto get : {get_lan_port_up_flow, get_lan_port_down_flow}) {
            uint64_t bytes = 0;
            result = FirstFailure(result, ZeroUnless(get(port, &bytes), &bytes));
            Put64(reply, bytes);
        }
    }
    return result;
}

static int PutLinks(WireWriter *reply, int (*getCount)(uint16_t *count), int (*getStatus)(uint8_t *status))
{
    uint16_t count;
    struct {
        uint8_t bytes[kStatusRoom];
    } status = {};
    int result = PortCount(getCount, kStatusRoom, &count);
    result = FirstFailure(result, ZeroUnless(getStatus(status.bytes), &status));
    Put16(reply, count);
    WirePutBytes(reply, status.bytes, count);
    return result;
}

int LinkStatusQuery(WireReader *, WireWriter *reply)
{
    int result = PutLinks(reply, get_lan_num, get_lan_con_status);
    result = FirstFailure(result, PutLinks(reply, get_wan_num, get_wan_con_status));
    for (uint16_t module = 0; module < ROUTER_SDK_WIFI_MODULES; module++) {
        uint8_t status = 0;
        result = FirstFailure(result, ZeroUnless(get_wifi_module_status(module, &status), &status));
        WirePut8(reply, status);
    }
    return result;
}
