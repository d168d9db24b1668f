#include "functions/Wan.h"

#include "functions/Parameters.h"
#include "functions/Records.h"

int WanConfigQuery(WireReader *parameters, WireWriter *reply)
{
    WanCfg wan = {};
    const int result = ZeroUnless(get_wan_cfg(Take16(parameters), &wan), &wan);
    PutRecord(reply, wan);
    return result;
}

int WanConfigsQuery(WireReader *, WireWriter *reply)
{
    WanCfg wans[ROUTER_SDK_WANS] = {};
    uint16_t count = 0;
    const int result = ZeroUnless(get_wans_cfg(wans, &count), &count);
    PutRecords(reply, wans, count, ROUTER_SDK_WANS);
    return result;
}
