// lab_router - the router library by itself.
//
//   lab_router MAC [DOWN]     what it answers about one device after its start, in one line; with DOWN, the device's limit
//                             is set to this first, and the result printed
//   lab_router calls SECONDS  gives each device that is there a name, then asks for the device table and for single devices,
//                             in turn and with pauses; prints one line with the times of both, in microseconds
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <unistd.h>
#include <vector>

#include "sdk/RouterSdk.h"

static const useconds_t kPause = 500; // a call is as long when the processor has something else to do in between

static double Microseconds(clockid_t clock)
{
    struct timespec now;
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) * 1e6 + static_cast<double>(now.tv_nsec) / 1e3;
}

namespace
{
// What one kind of call has taken.
struct Times {
    std::vector<double> processor; // the thread's own time
    std::vector<double> clock;     // with all that it has waited
    template <typename Call>
    void Take(Call call)
    {
        const double thread = Microseconds(CLOCK_THREAD_CPUTIME_ID), wall = Microseconds(CLOCK_MONOTONIC);
        call();
        clock.push_back(Microseconds(CLOCK_MONOTONIC) - wall);
        processor.push_back(Microseconds(CLOCK_THREAD_CPUTIME_ID) - thread);
    }
    void Print(const char *name)
    {
        std::sort(processor.begin(), processor.end());
        std::sort(clock.begin(), clock.end());
        const size_t most = processor.size() - 1, nearly = most * 99 / 100;
        printf("%s calls %zu processor %.1f %.1f %.1f clock %.1f %.1f %.1f ", name, processor.size(),
               processor[most / 2], processor[nearly], processor[most], clock[most / 2], clock[nearly], clock[most]);
    }
};
} // namespace

static int MeasureCalls(int seconds)
{
    DevCfg devices[ROUTER_SDK_DEVICES];
    uint16_t count = 0;
    if (get_devs_cfg(devices, &count) != 0 || count == 0) return 1;
    for (uint16_t i = 0; i < count; i++)
        if (set_dev_name(devices[i].mac, "a device of the house") != 0) return 1;
    Times table, single;
    const double end = Microseconds(CLOCK_MONOTONIC) + seconds * 1e6;
    for (uint16_t i = 0; Microseconds(CLOCK_MONOTONIC) < end; i++) {
        table.Take([&] { get_devs_cfg(devices, &count); });
        if (count == 0) return 1;
        DevCfg device = devices[i % count];
        char name[64];
        int64_t limit;
        single.Take([&] {
            get_dev_cfg(&device, device.mac);
            get_dev_name(device.mac, name);
            get_dev_us_max_bw(device.mac, &limit);
            get_dev_ds_bw(device.mac);
        });
        usleep(kPause);
    }
    printf("devices %u ", count);
    table.Print("table");
    single.Print("four");
    printf("\n");
    return 0;
}

int main(int argc, char *argv[])
{
    if (argc == 3 && strcmp(argv[1], "calls") == 0) return MeasureCalls(atoi(argv[2]));
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
