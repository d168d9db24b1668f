#include "tests/fakes/RecordingSdk.h"

#include <cstring>

RecordingSdkState gSdk;

void RecordingSdkReset()
{
    gSdk = RecordingSdkState();
}

namespace
{

int Note(const char *function)
{
    gSdk.calls.push_back(function);
    return gSdk.result;
}

// Copies as much of the text as fits, unterminated when it fills the field: what a careless router does.
int Text(const char *function, const std::string &text, char *out, size_t size)
{
    const int result = Note(function);
    if (result == 0) strncpy(out, text.c_str(), size);
    return result;
}

} // namespace

int get_router_mac(uint8_t mac[6])
{
    const int result = Note("get_router_mac");
    if (result == 0) memcpy(mac, gSdk.mac, 6);
    return result;
}

int get_router_sn(char sn[64])
{
    return Text("get_router_sn", gSdk.serial, sn, 64);
}

int get_router_vender(char t[64])
{
    return Text("get_router_vender", gSdk.vendor, t, 64);
}

int get_router_model(char t[64])
{
    return Text("get_router_model", gSdk.model, t, 64);
}

int get_router_version(RouterVersion *v)
{
    const int result = Note("get_router_version");
    if (result == 0) *v = gSdk.version;
    return result;
}

int get_cpu_cfg(CpuCfg *c)
{
    const int result = Note("get_cpu_cfg");
    if (result == 0) *c = gSdk.cpu;
    return result;
}

int get_mem_cfg(MemCfg *m)
{
    const int result = Note("get_mem_cfg");
    if (result == 0) *m = gSdk.memory;
    return result;
}

int get_name(char name[32])
{
    Note("get_name");
    if (gSdk.nameResult == 0) strncpy(name, gSdk.name.c_str(), 32);
    return gSdk.nameResult;
}

int get_router_is_plug(void)
{
    Note("get_router_is_plug");
    return gSdk.isPlug;
}

int get_router_support_ipv6(void)
{
    Note("get_router_support_ipv6");
    return gSdk.supportsIpv6;
}
