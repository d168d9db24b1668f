#define LOG_MODULE "iot_poll"
#include "rules/iot_poll.h"

#include <algorithm>
#include <cstdio>
#include <ctime>

#include "core/Common.h"
#include "core/MacText.h"
#include "os/OsClock.h"
#include "os/OsWait.h"
#include "platform/Settings.h"
#include "rules/SurfTable.h"
#include "sdk/RouterSdk.h"
#include "subdev/SubdevMutex.h"

OsAtomic<int> pollRun{0};
static OsWaiter s_poll; // woken when pollRun is cleared and when the result of a start is known

// The result of the daemon's start; kStarting, which is no result, while it is not known. Guarded by s_poll.
static const int kStarting = 1;
static int s_start;

static const int64_t kPassMs = 30000;
static const int64_t kStopMs = 2000;
static const uint16_t kMaxDevices = 128; // in one pass; the router may fill in one more
static const size_t kLookUpSize = 128;

// ---- The pass ----

enum Verdict { NO_RULES = -2, NO_RANGES = -1, OUTSIDE = 0, INSIDE = 1 };

// The verdict of a device's rules on this weekday and time.
static Verdict RuleFor(const char *key, const struct tm &now)
{
    OsGuard guard(&hashTableMutex);
    const HashEntry *entry = hash_table_lookup(key);
    if (!entry) return NO_RULES;
    return static_cast<Verdict>(rule_node_match(entry->rules, now.tm_hour, now.tm_min));
}

static void Enforce(DevCfg device, const struct tm &now)
{
    static const char kFunction[] = "surf_rule_func";
    char text[kMacTextSize];
    char key[kLookUpSize];
    MacToText(device.mac, ':', MAC_UPPER_CASE, text);
    snprintf(key, sizeof key, "%s|%d", text, now.tm_wday);
    const Verdict verdict = RuleFor(key, now);
    if (verdict == NO_RULES) {
        LOG_AS(LOG_LEVEL_DEBUG, kFunction, "Can't find rule for : %s", key);
        return;
    }
    LOG_AS(LOG_LEVEL_DEBUG, kFunction, "Found rule for : %s", key);
    const bool switchOff = verdict == INSIDE && device.access == 1;
    const bool switchOn = verdict == OUTSIDE && device.access == 0;
    if (!switchOff && !switchOn) return;
    device.access = switchOn ? 1 : 0;
    if (runMode == 1) device.changed = 1;
    set_dev_access_control(device);
    LOG_AS(LOG_LEVEL_DEBUG, kFunction, "set_dev_access_control for: %s to %d", text, device.access);
}

// With SubdevMutex held.
static void EnforceAll(const struct tm &now)
{
    static const char kFunction[] = "surf_rule_func";
    DevCfg devices[ROUTER_SDK_DEVICES] = {};
    uint16_t count = 0;
    if (get_devs_cfg(devices, &count) != 0) {
        LOG_AS(LOG_LEVEL_DEBUG, kFunction, "get_devs_cfg failed");
        return;
    }
    LOG_AS(LOG_LEVEL_DEBUG, kFunction, "Sub dev num:[%d]", count);
    count = std::min(count, kMaxDevices);
    for (uint16_t i = 0; i < count; i++) Enforce(devices[i], now);
}

void surf_rule_func()
{
    struct tm now;
    OsLocalTime(OsWallTime(), &now);
    // Held throughout, for two reasons: a command that deletes a device's last rule meanwhile gives the access back
    // after this pass, and nobody changes a device between our reading and writing it.
    if (pthread_mutex_lock(&SubdevMutex) != 0) {
        LOG_DEBUG("SubdevMutex used");
        return;
    }
    EnforceAll(now);
    pthread_mutex_unlock(&SubdevMutex);
}

// ---- Threads ----

void pollPrepare()
{
    OsGuard guard(&s_poll);
    s_start = kStarting;
}

void pollStart()
{
    OsGuard guard(&s_poll);
    pollRun = 1;
}

int pollStarted(int result)
{
    OsGuard guard(&s_poll);
    s_start = result;
    OsWakeAll(&s_poll);
    return result;
}

int pollAwaitStart()
{
    OsGuard guard(&s_poll);
    while (s_start == kStarting) OsWaitUntil(&s_poll, OS_FOREVER);
    return s_start;
}

void pollStop()
{
    {
        OsGuard guard(&s_poll);
        pollRun = 0;
        OsWakeAll(&s_poll);
    }
    OsSleepMs(kStopMs);
}

// Returns true when the next pass is due, false if the daemon has to end.
static bool AwaitNextPass()
{
    return !OsWaitFor(&s_poll, kPassMs, [] { return !pollRun; });
}

void *TimeRuleProc(void *)
{
    LOG_DEBUG("TimeRuleProc runing...");
    while (AwaitNextPass()) surf_rule_func();
    LOG_DEBUG("TimeRuleProc return...");
    return nullptr;
}

int iot_epoll(int32_t)
{
    return 0;
}

void *thread_epoll(void *port)
{
    if (iot_epoll(*static_cast<const int32_t *>(port)) < 0) LOG_DEBUG(" daemon init error");
    return nullptr;
}
