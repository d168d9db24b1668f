// lab_router - the router library by itself: what it answers about one device after its start, in one line.
//
//   lab_router MAC [DOWN]     with DOWN, the device's limit is set to this first, and the result printed
#include <cstdio>
#include <cstdlib>

#include "sdk/RouterSdk.h"

int main(int argc, char *argv[])
{
    uint8_t mac[6];
    if (argc < 2 || sscanf(argv[1], "%2hhx:%2hhx:%2hhx:%2hhx:%2hhx:%2hhx", &mac[0], &mac[1], &mac[2], &mac[3], &mac[4],
                           &mac[5]) != 6)
        return 2;
    if (argc > 2) printf("set %d ", set_dev_ds_max_bw(mac, atoll(argv[2])));
    DevCfg device = {};
    const int known = get_dev_cfg(&device, mac);
    int64_t down = -1;
    const int limit = get_dev_ds_max_bw(mac, &down);
    char serial[64] = "", name[64] = "";
    const int hasSerial = get_router_sn(serial), hasName = get_dev_name(mac, name);
    printf("device %d access %d limit %d %lld name %d '%s' serial %d '%s'\n", known, device.access, limit,
           static_cast<long long>(down), hasName, name, hasSerial, serial);
    return 0;
}
