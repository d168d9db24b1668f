#define LOG_MODULE "RouteFunc"
#include "rules/SurfRules.h"

#include <algorithm>
#include <cjson/cJSON.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "core/Common.h"
#include "core/JsonParse.h"
#include "core/MacText.h"
#include "os/OsMemory.h"
#include "os/OsWait.h"
#include "platform/Settings.h"
#include "rules/BadItem.h"
#include "sdk/RouterSdk.h"
#include "subdev/DeviceTable.h"

static const char kWeekdays[][2] = {"1", "2", "3", "4", "5", "6", "7"};
static const size_t kMaxMacText = kSurfKeySize - sizeof "|7";

// ---- Single rules ----

static const char kDelete[] = "del_surf_rule"; // the procedure name in the log lines of its parts

static void WriteKey(char (&key)[kSurfKeySize], const char *mac, const char *day)
{
    snprintf(key, sizeof key, "%s|%s", mac, day);
}

int set_surf_rule(const char *mac, const char *day, SurfRule *rule)
{
    char key[kSurfKeySize];
    WriteKey(key, mac, day);
    {
        OsGuard guard(&hashTableMutex);
        HashEntry *entry = hash_table_lookup(key);
        if (entry)
            entry->rules = rule_node_insert(entry->rules, rule);
        else
            hash_table_insert(key, rule);
    }
    LOG_INFO("Add surf rule %s", key);
    return 0;
}

// Needed because the rule thread leaves devices without rules alone.
static void GiveAccessBack(const char *mac)
{
    uint8_t bytes[kMacSize];
    MacScan(mac, ':', bytes);
    bool changed = false;
    WithDeviceTable([&] {
        DevCfg device = {};
        if (get_dev_cfg(&device, bytes) != 0 || device.access != 0) return 0;
        device.access = 1;
        if (runMode == 1) device.changed = 1;
        changed = true;
        return set_dev_access_control(device);
    });
    if (changed) LOG_AS(LOG_LEVEL_DEBUG, kDelete, "set_dev_access_control for: %s to 1", mac);
}

// Returns -1 if there is no entry for `key`, 0 if no rule is left in it, else 1.
static int DeleteFromEntry(const char *key, const SurfRule *rule)
{
    OsGuard guard(&hashTableMutex);
    HashEntry *entry = hash_table_lookup(key);
    LOG_AS(LOG_LEVEL_INFO, kDelete, "Del from surf rule %s %p", key, static_cast<void *>(entry));
    LOG_AS(LOG_LEVEL_INFO, kDelete, "rule - %d:%d %d:%d", rule->startHour, rule->startMinute, rule->stopHour,
           rule->stopMinute);
    if (!entry) {
        LOG_AS(LOG_LEVEL_ERR, kDelete, "hash node is NULL for %s", key);
        return -1;
    }
    entry->rules = rule_node_delete(entry->rules, rule);
    return entry->rules ? 1 : 0;
}

int del_surf_rule(const char *mac, const char *day, const SurfRule *rule)
{
    char key[kSurfKeySize];
    WriteKey(key, mac, day);
    const int left = DeleteFromEntry(key, rule);
    if (left != 0) return left < 0 ? -1 : 0;

    // In this order, and without the rule table's lock: a pass that has still seen the rule holds the device table
    // until it has finished, so a device that it switches off is switched on again after it.
    GiveAccessBack(mac);
    LOG_DEBUG("surf rule %s removed.", key);
    OsGuard guard(&hashTableMutex);
    hash_table_remove(key);
    return 0;
}

// ---- Weekdays ----

// Reads the number at the start of *text and moves *text behind it. Returns false if there is none. The number is
// limited to the range of 32 bits, which scanf() does not do.
static bool TakeNumber(const char **text, int32_t *number)
{
    char *end;
    const long value = strtol(*text, &end, 10);
    if (end == *text) return false;
    *text = end;
    *number = static_cast<int32_t>(std::clamp<long>(value, INT32_MIN, INT32_MAX));
    return true;
}

// Reads "%d:%d" as far as possible; a number that cannot be read stays 0.
static void ReadTime(const char *text, int32_t *hour, int32_t *minute)
{
    if (TakeNumber(&text, hour) && *text++ == ':') TakeNumber(&text, minute);
}

static SurfRule ReadRule(const char *start, const char *stop)
{
    SurfRule rule = {};
    ReadTime(start, &rule.startHour, &rule.startMinute);
    ReadTime(stop, &rule.stopHour, &rule.stopMinute);
    return rule;
}

static void AddRule(const char *mac, const char *day, const SurfRule &rule)
{
    SurfRule *own = static_cast<SurfRule *>(OsAllocate(sizeof rule));
    if (!own) {
        LOG_ERR("Mem overflow!");
        return;
    }
    *own = rule;
    set_surf_rule(mac, day, own);
}

int CommitSurfRule(int add, int, const char *mac, const char *days, const char *start, const char *stop)
{
    if (!mac || !days || !start || !stop || strlen(mac) > kMaxMacText) {
        LOG_ERR("Wrong surf rule");
        return -1;
    }
    if (add != 0 && add != 1) return 0;
    const SurfRule rule = ReadRule(start, stop);
    for (const char *day : kWeekdays) {
        if (!strstr(days, day)) continue;
        if (add == 1)
            AddRule(mac, day, rule);
        else
            del_surf_rule(mac, day, &rule);
    }
    return 0;
}

// ---- The document ----

enum { FLAG, MAC, DAY, START, STOP, ALLOW, TEXTS };

static const struct {
    char name[6];
    SurfResult missing;
} kTexts[TEXTS] = {{"FLAG", SURF_NO_FLAG},   {"MAC", SURF_NO_MAC},   {"DAY", SURF_NO_DAY},
                   {"START", SURF_NO_START}, {"STOP", SURF_NO_STOP}, {"ALLOW", SURF_NO_ALLOW}};

// Stores the members' texts, null for a member that is no text. Returns SURF_DONE or the result of a missing member.
static SurfResult ReadItem(const cJSON *item, const char *(&texts)[TEXTS])
{
    for (size_t i = 0; i < TEXTS; i++) {
        const cJSON *member = cJSON_GetObjectItem(item, kTexts[i].name);
        if (!member) return kTexts[i].missing;
        texts[i] = cJSON_GetStringValue(member);
    }
    return SURF_DONE;
}

static const char *Shown(const char *text)
{
    return text ? text : "(null)";
}

static bool IsSwitch(const char *text)
{
    return text && (strcmp(text, "0") == 0 || strcmp(text, "1") == 0);
}

// Returns a SurfResult, or kLeftBadItem.
static int DoItem(const cJSON *item)
{
    static const char kFunction[] = "ParseSurfRulesParam";
    for (;;) {
        const char *texts[TEXTS] = {};
        const SurfResult result = ReadItem(item, texts);
        if (result != SURF_DONE) {
            LOG_AS(LOG_LEVEL_ERR, kFunction, "Wrong surf rule param");
            return result;
        }
        LOG_AS(LOG_LEVEL_DEBUG, kFunction,
               "flag:%s\n dev_mac:%s\n weekdays:%s\n start_time:%s\n stop_time:%s\n allowable:%s\n\n",
               Shown(texts[FLAG]), Shown(texts[MAC]), Shown(texts[DAY]), Shown(texts[START]), Shown(texts[STOP]),
               Shown(texts[ALLOW]));
        if (IsSwitch(texts[FLAG]) && IsSwitch(texts[ALLOW])) {
            CommitSurfRule(texts[FLAG][0] == '1', texts[ALLOW][0] == '1', texts[MAC], texts[DAY], texts[START],
                           texts[STOP]);
            return SURF_DONE;
        }
        LOG_AS(LOG_LEVEL_ERR, kFunction, "Wrong surf rule param");
        if (!StayOnBadItem()) return kLeftBadItem;
    }
}

int ParseSurfRulesParam(const char *json)
{
    if (!json) {
        LOG_ERR("Json is null.");
        return SURF_NO_TEXT;
    }
    cJSON *document = JsonParse(json);
    if (!document) {
        LOG_DEBUG("Parse json failed.");
        return SURF_NOT_PARSED;
    }
    int result = SURF_DONE;
    const cJSON *list = cJSON_GetObjectItem(document, "LIST");
    const cJSON *item = cJSON_IsArray(list) ? list->child : nullptr;
    for (; item && result == SURF_DONE; item = item->next) result = DoItem(item);
    cJSON_Delete(document);
    return result;
}
