#include "functions/Identity.h"

#include "core/Common.h"
#include "platform/Protool.h"
#include "sdk/RouterSdk.h"

// An SDK result travels as its low 16 bits in the router's own order.
static void PutSdkResult(WireWriter *reply, int result)
{
    WirePutLe16(reply, static_cast<uint16_t>(result));
}

bool RouterVersionQuery(WireReader *, WireWriter *reply)
{
    RouterVersion version = {};
    PutSdkResult(reply, get_router_version(&version));
    WirePutBytes(reply, &version, sizeof version);
    return true;
}

bool IdentityQuery(WireReader *, WireWriter *reply)
{
    char serial[64] = {};
    char vendor[64] = {};
    char model[64] = {};
    char name[32] = {};
    CpuCfg cpu = {};
    MemCfg memory = {};
    get_router_sn(serial);
    get_router_vender(vendor);
    get_router_model(model);
    get_cpu_cfg(&cpu);
    get_mem_cfg(&memory);
    const int result = get_name(name);
    cpu.mhz = swapInt16(cpu.mhz);
    memory.kilobytes = swapInt32(memory.kilobytes);

    PutSdkResult(reply, result);
    WirePutBytes(reply, gRoutemac, sizeof gRoutemac);
    WirePutBytes(reply, serial, sizeof serial);
    WirePutBytes(reply, vendor, sizeof vendor);
    WirePutBytes(reply, model, sizeof model);
    WirePutBytes(reply, &cpu, sizeof cpu);
    WirePutBytes(reply, &memory, sizeof memory);
    WirePut8(reply, static_cast<uint8_t>(get_router_is_plug()));
    WirePutBytes(reply, name, sizeof name);
    WirePut8(reply, static_cast<uint8_t>(get_router_support_ipv6()));
    return true;
}
