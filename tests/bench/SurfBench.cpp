// SurfBench.cpp - the cost of a pass of the rule thread in the worst case: a full table, as many devices as a
// pass takes, each with rules for the day, and each to be switched.
//
//   surf_bench [PASSES]
//
// The router answers from memory at once, so that the library adds almost nothing.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "Figures.h"
#include "core/Common.h"
#include "os/OsClock.h"
#include "os/OsMemory.h"
#include "rules/SurfTable.h"
#include "rules/iot_poll.h"
#include "sdk/RouterSdk.h"

static const int kDevices = 128;
static const int kWeekdays = 4; // of each device: 512 entries
static const int kRules = 4;    // of each entry
static const double kMaxMicroseconds = 100;

// ---- The router ----

static DevCfg s_devices[kDevices];
static long s_switched;

int get_devs_cfg(DevCfg *d, uint16_t *count)
{
    memcpy(d, s_devices, sizeof s_devices);
    *count = kDevices;
    return 0;
}

int set_dev_access_control(DevCfg d)
{
    s_switched += d.access == 0;
    return 0;
}

// ---- The table ----

static SurfRule *NewRule(int startHour, int startMinute, int stopHour, int stopMinute)
{
    SurfRule *rule = static_cast<SurfRule *>(OsAllocate(sizeof(SurfRule)));
    if (!rule) abort();
    *rule = {startHour, startMinute, stopHour, stopMinute};
    return rule;
}

// Every device has its rules from today on; only the last one of an entry contains the time, and it always does.
static void Fill()
{
    struct tm now;
    OsLocalTime(OsWallTime(), &now);
    hash_table_init();
    for (int device = 0; device < kDevices; device++) {
        DevCfg &record = s_devices[device];
        const uint8_t mac[6] = {
            0x3C, 0x84, 0x6A, 0x10, static_cast<uint8_t>(device * 73), static_cast<uint8_t>(device)};
        memcpy(record.mac, mac, sizeof mac);
        record.access = 1;
        for (int day = 0; day < kWeekdays; day++) {
            const std::string key = Format("%02X:%02X:%02X:%02X:%02X:%02X|%d", mac[0], mac[1], mac[2], mac[3], mac[4],
                                           mac[5], (now.tm_wday + day) % 7);
            hash_table_insert(key.c_str(), NewRule(22, 0, 2, 0));
            HashEntry *entry = hash_table_lookup(key.c_str());
            for (int i = 1; i < kRules - 1; i++) entry->rules = rule_node_insert(entry->rules, NewRule(22, i, 2, 0));
            entry->rules = rule_node_insert(entry->rules, NewRule(0, 0, 23, 59));
        }
    }
}

static double Microseconds()
{
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) * 1e6 + static_cast<double>(now.tv_nsec) / 1e3;
}

int main(int argc, char *argv[])
{
    const int passes = argc > 1 ? atoi(argv[1]) : 20000;
    if (passes < 1) {
        fprintf(stderr, "surf_bench: \"%s\" is no number of passes\n", argv[1]);
        return 2;
    }
    d_set_log_level(LOG_LEVEL_NONE); // as without -d
    Fill();
    std::vector<double> times;
    for (int i = 0; i < passes; i++) {
        const double begin = Microseconds();
        surf_rule_func();
        times.push_back(Microseconds() - begin);
    }
    if (hash_table_size != kDevices * kWeekdays || s_switched != static_cast<long>(passes) * kDevices) {
        fprintf(stderr, "surf_bench: %d entries, %ld devices switched off\n", hash_table_size, s_switched);
        return 1;
    }
    const double median = Quantile(times, 0.5);
    printf("pass: median %.1f us, 99 %% below %.1f us, %d passes\n", median, Quantile(times, 0.99), passes);
    PrintFigure("enforcement pass, 128 devices to switch, 512 entries, without the router library",
                Format("below %.0f us", kMaxMicroseconds), Format("%.1f us", median), median < kMaxMicroseconds);
    hash_table_destroy();
    return 0;
}
