#include "functions/Records.h"

#include "core/Common.h"

// Fields of packed records may have any alignment, so they are read and written by value.
#define SWAP16(field) ((field) = swapInt16(field))
#define SWAP32(field) ((field) = swapInt32(field))
#define REVERSE(field) swapNet32(&(field), (field))

void ToProtocolOrder(CpuCfg *cpu)
{
    SWAP16(cpu->mhz);
}

void ToProtocolOrder(MemCfg *memory)
{
    SWAP32(memory->kilobytes);
}

void ToProtocolOrder(LanCfg *lan)
{
    REVERSE(lan->ip);
    REVERSE(lan->netmask);
}

void ToProtocolOrder(WanCfg *wan)
{
    SWAP16(wan->index);
    SWAP16(wan->vlan);
    SWAP16(wan->mtu);
    REVERSE(wan->ip);
    REVERSE(wan->netmask);
    REVERSE(wan->gateway);
    REVERSE(wan->dns1);
    REVERSE(wan->dns2);
    SWAP16(wan->services);
}

void ToProtocolOrder(SsidCfg *ssid)
{
    SWAP16(ssid->index);
    SWAP16(ssid->security);
    SWAP16(ssid->bandwidth);
    SWAP16(ssid->channel);
    REVERSE(ssid->ip);
    REVERSE(ssid->netmask);
}

void ToProtocolOrder(DevCfg *device)
{
    SWAP16(device->port);
    REVERSE(device->ip);
}

void ToProtocolOrder(AdjWifi *neighbour)
{
    neighbour->rssi = static_cast<int32_t>(swapInt32(static_cast<uint32_t>(neighbour->rssi)));
    SWAP32(neighbour->frequency);
    SWAP16(neighbour->channel);
    SWAP16(neighbour->bandwidth);
    SWAP16(neighbour->load);
}
