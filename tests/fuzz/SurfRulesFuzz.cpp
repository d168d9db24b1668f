// Any texts as surf-rule commands, each followed by a pass at any time: the result is a known one, the table stays
// consistent and within its limits, a pass writes only devices whose access differs from their rules, and no memory
// leaks.
//
// Input: commands, each:
//   allocations that succeed while it is carried out, 255 for all; minutes by which the clock advances (2 bytes);
//   the text, up to a NUL
#include <cstring>
#include <set>
#include <string>

#include "FuzzOs.h"
#include "core/Common.h"
#include "os/OsClock.h"
#include "platform/ServerStop.h"
#include "rules/BadItem.h"
#include "rules/SurfRules.h"
#include "rules/iot_poll.h"
#include "sdk/RouterSdk.h"

// ---- The router ----

static const size_t kDevices = 3;
static DevCfg s_devices[kDevices];
static bool s_written[kDevices];

static DevCfg *Find(const uint8_t *mac)
{
    for (DevCfg &device : s_devices)
        if (memcmp(device.mac, mac, sizeof device.mac) == 0) return &device;
    return nullptr;
}

int get_devs_cfg(DevCfg *d, uint16_t *count)
{
    memcpy(d, s_devices, sizeof s_devices);
    *count = kDevices;
    return 0;
}

int get_dev_cfg(DevCfg *d, const uint8_t mac[6])
{
    const DevCfg *device = Find(mac);
    if (device) *d = *device;
    return device ? 0 : -1;
}

int set_dev_access_control(DevCfg d)
{
    DevCfg *device = Find(d.mac);
    REQUIRE(device != nullptr && d.access <= 1 && d.access != device->access); // no write without a reason
    device->access = d.access;
    s_written[device - s_devices] = true;
    return 0;
}

// ---- Rules ----

static void CheckTable()
{
    std::set<std::string> keys;
    for (size_t bucket = 0; bucket < kHashBuckets; bucket++)
        for (const HashEntry *entry = hashTable[bucket]; entry; entry = entry->next) {
            REQUIRE(hash_table_bucket(entry->key) == bucket && strlen(entry->key) < kSurfKeySize);
            REQUIRE(keys.insert(entry->key).second);
            for (const RuleNode *node = entry->rules; node; node = node->next)
                for (const RuleNode *other = node->next; other; other = other->next)
                    REQUIRE(memcmp(node->rule, other->rule, sizeof(SurfRule)) != 0);
        }
    REQUIRE(hash_table_size >= static_cast<int>(keys.size()) && hash_table_size <= kHashInsertions);
}

// What the rules of the present weekday and time say about a device: 1 blocked, 0 allowed, -1 nothing.
static int Verdict(const DevCfg &device, const struct tm &now)
{
    char key[32];
    const uint8_t *mac = device.mac;
    snprintf(key, sizeof key, "%02X:%02X:%02X:%02X:%02X:%02X|%d", mac[0], mac[1], mac[2], mac[3], mac[4], mac[5],
             now.tm_wday);
    for (const HashEntry *entry = hashTable[hash_table_bucket(key)]; entry; entry = entry->next) {
        if (std::string(key).compare(0, strlen(entry->key), entry->key) != 0) continue;
        const int64_t minute = now.tm_hour * 60 + now.tm_min;
        for (const RuleNode *node = entry->rules; node; node = node->next)
            if (node->rule->startHour * INT64_C(60) + node->rule->startMinute <= minute &&
                minute <= node->rule->stopHour * INT64_C(60) + node->rule->stopMinute)
                return 1;
        return entry->rules ? 0 : -1;
    }
    return -1;
}

static void CheckPass()
{
    struct tm now;
    OsLocalTime(OsWallTime(), &now);
    memset(s_written, 0, sizeof s_written);
    surf_rule_func();
    for (size_t i = 0; i < kDevices; i++) {
        const int verdict = Verdict(s_devices[i], now);
        REQUIRE(verdict >= 0 ? s_devices[i].access == 1 - verdict : !s_written[i]);
    }
    memset(s_written, 0, sizeof s_written);
    surf_rule_func(); // a second pass at the same time changes nothing
    for (bool written : s_written) REQUIRE(!written);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzOsReset();
    d_set_log_level(LOG_LEVEL_NONE);
    ServerRun = 0; // an item that holds the thread releases it at once
    memset(s_devices, 0, sizeof s_devices);
    for (size_t i = 0; i < kDevices; i++) {
        s_devices[i].mac[0] = 2;
        s_devices[i].mac[5] = static_cast<uint8_t>(10 + i);
        s_devices[i].access = i != 1;
    }
    hash_table_init();
    FuzzInput input = {data, size};
    while (input.left > 0) {
        const uint8_t allocations = input.Byte();
        g_world.allocationsLeft = allocations == 255 ? -1 : allocations;
        g_world.nowMs += input.Word() * INT64_C(60000);
        const int result = ParseSurfRulesParam(input.Text().c_str());
        REQUIRE(result == kLeftBadItem || (result >= SURF_DONE && result <= SURF_NO_ALLOW && result != SURF_NO_TEXT));
        CheckTable();
        CheckPass();
    }
    hash_table_destroy();
    for (const HashEntry *bucket : hashTable) REQUIRE(bucket == nullptr);
    return 0;
}
