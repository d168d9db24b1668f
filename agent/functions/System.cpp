#include "functions/System.h"

#include "functions/Shapes.h"
#include "sdk/RouterSdk.h"

int DnsQuery(WireReader *, WireWriter *reply)
{
    struct {
        uint32_t primary, secondary;
    } dns = {};
    const int result = ZeroUnless(get_dns(&dns.primary, &dns.secondary), &dns);
    PutIp(reply, dns.primary);
    PutIp(reply, dns.secondary);
    return result;
}

int DnsSetting(WireReader *parameters, WireWriter *)
{
    const uint32_t primary = TakeIp(parameters);
    return set_dns(primary, TakeIp(parameters));
}

int FullLoadSetting(WireReader *parameters, WireWriter *)
{
    const uint16_t selector = Take16(parameters);
    return set_full_load_enable(selector, WireGet8(parameters));
}

int TimeSetting(WireReader *parameters, WireWriter *)
{
    return sync_time(Take64(parameters));
}

static int PutCounter(WireWriter *reply, int (*get)(uint64_t *counter))
{
    uint64_t counter = 0;
    const int result = ZeroUnless(get(&counter), &counter);
    Put64(reply, counter);
    return result;
}

int UpTimeQuery(WireReader *, WireWriter *reply)
{
    return PutCounter(reply, get_duration_time);
}

int Restart(WireReader *, WireWriter *)
{
    return restart();
}

int RomUpdate(WireReader *parameters, WireWriter *reply)
{
    WireGet8(parameters);
    return TextSetting<update_rom_version>(parameters, reply);
}

int TrafficRatesQuery(WireReader *, WireWriter *reply)
{
    const int result = PutCounter(reply, get_flows_down_rate);
    return FirstFailure(result, PutCounter(reply, get_flows_up_rate));
}
