/* EmptyRouter.c - a router library without anything behind it: who it is, and 128 devices. The rest is the template's.
 * What the agent holds with it is the agent's own. */
#include <string.h>

#include "sdk/RouterSdk.h"

int get_router_mac(uint8_t mac[6])
{
    memcpy(mac, "\x02\0\0\0\x09\x01", 6);
    return 0;
}

int get_router_sn(char sn[64])
{
    strcpy(sn, "EMPTY01");
    return 0;
}

static DevCfg Device(int number)
{
    DevCfg device;
    memset(&device, 0, sizeof device);
    memcpy(device.mac, "\x02\0\0\x02", 4);
    device.mac[5] = (uint8_t)number;
    memcpy(device.name, "device", 6);
    device.access = 1;
    device.ip = (uint32_t)number << 24 | 0x32A8C0u; /* 192.168.50.N */
    return device;
}

int get_devs_cfg(DevCfg *d, uint16_t *count)
{
    for (*count = 0; *count < 128; ++*count) d[*count] = Device(*count + 1);
    return 0;
}

int get_dev_cfg(DevCfg *d, const uint8_t mac[6])
{
    *d = Device(mac[5]);
    return 0;
}
