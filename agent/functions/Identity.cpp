#include "functions/Identity.h"

#include "functions/Records.h"
#include "functions/Shapes.h"
#include "platform/Protool.h"
#include "sdk/RouterSdk.h"

int RouterVersionQuery(WireReader *, WireWriter *reply)
{
    RouterVersion version = {};
    const int result = ZeroUnless(get_router_version(&version), &version);
    WirePutBytes(reply, &version, sizeof version);
    return result;
}

int IdentityQuery(WireReader *, WireWriter *reply)
{
    WirePutBytes(reply, gRoutemac, sizeof gRoutemac);
    PutText<64>(reply, get_router_sn);
    PutText<64>(reply, get_router_vender);
    PutText<64>(reply, get_router_model);
    PutRecordOf(reply, get_cpu_cfg);
    PutRecordOf(reply, get_mem_cfg);
    struct {
        char text[32];
    } name = {};
    const int result = ZeroUnless(get_name(name.text), &name);
    WirePut8(reply, static_cast<uint8_t>(get_router_is_plug()));
    WirePutBytes(reply, &name, sizeof name);
    WirePut8(reply, static_cast<uint8_t>(get_router_support_ipv6()));
    return result;
}

int RouterPinQuery(WireReader *, WireWriter *reply)
{
    return PutText<12>(reply, get_router_pin);
}
