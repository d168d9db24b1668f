#include <cjson/cJSON.h>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "sdk/sim/Complain.h"
#include "sdk/sim/MemberTables.h"
#include "sdk/sim/Members.h"

static const int kMaxReports = 20;

// All that this module remembers; LoadMembers() resets it.
static int s_reported; // bad members of the document being loaded

static void Report(const char *format, ...) __attribute__((format(printf, 1, 2)));
static void Report(const char *format, ...)
{
    if (++s_reported > kMaxReports + 1) return;
    if (s_reported > kMaxReports) {
        Complain("ROUTER_SIM_STATE: more members are not as expected; their defaults hold");
        return;
    }
    char text[300];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    Complain("ROUTER_SIM_STATE: %s", text);
}

template <size_t N>
static void LoadFields(const Field (&fields)[N], void *record, const cJSON *object, const char *path);
static void LoadFields(const Field *fields, size_t count, void *record, const cJSON *object, const char *path)
{
    if (!cJSON_IsObject(object)) {
        Report("\"%s\" is not an object; its default holds", path);
        return;
    }
    for (const Field *field = fields; field < fields + count; field++) {
        const cJSON *value = cJSON_GetObjectItemCaseSensitive(object, field->name);
        char room[80];
        const char *wanted = value ? ReadField(field, record, value, room) : nullptr;
        if (wanted) Report("\"%s.%s\" is not %s; its default holds", path, field->name, wanted);
    }
}

template <size_t N>
static void LoadFields(const Field (&fields)[N], void *record, const cJSON *object, const char *path)
{
    LoadFields(fields, N, record, object, path);
}

// The list of that name, or null when there is none to load. Of a list that is too long only the start is used.
static const cJSON *ListOf(const cJSON *document, const char *name, int room)
{
    const cJSON *list = cJSON_GetObjectItemCaseSensitive(document, name);
    if (!list) return nullptr;
    if (!cJSON_IsArray(list)) {
        Report("\"%s\" is not a list; its default holds", name);
        return nullptr;
    }
    const int size = cJSON_GetArraySize(list);
    if (size > room) Report("\"%s\" has %d elements; only the first %d are used", name, size, room);
    return list;
}

struct ElementPath {
    char text[40];
    ElementPath(const char *list, int at) { snprintf(text, sizeof text, "%s[%d]", list, at); }
};

// WANs and SSIDs are known by their place, so a bad element still takes one.
static void LoadPlaces(Household *home, const cJSON *document)
{
    if (const cJSON *wans = ListOf(document, "wans", ROUTER_SDK_WANS)) {
        home->wanCount = 0;
        for (const cJSON *item = wans->child; item && home->wanCount < ROUTER_SDK_WANS; item = item->next) {
            WanCfg *wan = &home->wans[home->wanCount];
            BlankWan(wan, home->wanCount);
            LoadFields(kWan, wan, item, ElementPath("wans", home->wanCount++).text);
        }
    }
    if (const cJSON *ssids = ListOf(document, "ssids", ROUTER_SDK_SSIDS)) {
        home->ssidCount = 0;
        for (const cJSON *item = ssids->child; item && home->ssidCount < ROUTER_SDK_SSIDS; item = item->next) {
            SsidCfg *ssid = &home->ssids[home->ssidCount];
            BlankSsid(ssid, home->ssidCount);
            LoadFields(kSsid, ssid, item, ElementPath("ssids", home->ssidCount++).text);
        }
    }
}

// Takes a device into the table. Null, reported, when it has no MAC of its own or the table is full.
static Device *LoadDevice(Household *home, const cJSON *object, const char *path)
{
    uint8_t mac[6];
    if (!cJSON_IsObject(object) || !ParseMacMember(object, mac)) {
        Report("\"%s\" has no \"mac\" like \"02:1a:2b:00:00:14\"; it is left out", path);
        return nullptr;
    }
    if (FindDevice(home, mac)) {
        Report("\"%s\" has the MAC of another device; it is left out", path);
        return nullptr;
    }
    if (home->deviceCount == kMaxDevices) {
        Report("\"%s\" is one device too many; it is left out", path);
        return nullptr;
    }
    Device *device = &home->devices[home->deviceCount++];
    BlankDevice(device);
    LoadFields(kDevice, device, object, path);
    return device;
}

static void LoadDevices(Household *home, const cJSON *document)
{
    const cJSON *list = ListOf(document, "devices", kMaxDevices);
    if (!list) return;
    home->deviceCount = 0;
    int at = 0;
    for (const cJSON *item = list->child; item && at < kMaxDevices; item = item->next, at++)
        LoadDevice(home, item, ElementPath("devices", at).text);
}

static void LoadSurroundings(Household *home, const cJSON *document)
{
    if (const cJSON *list = ListOf(document, "neighbours", ROUTER_SDK_ADJ_WIFI)) {
        home->neighbourCount = 0;
        for (const cJSON *item = list->child; item && home->neighbourCount < ROUTER_SDK_ADJ_WIFI; item = item->next) {
            AdjWifi *seen = &home->neighbours[home->neighbourCount];
            memset(seen, 0, sizeof *seen);
            LoadFields(kNeighbour, seen, item, ElementPath("neighbours", home->neighbourCount++).text);
        }
    }
    if (const cJSON *list = ListOf(document, "black_list", ROUTER_SDK_BLACK_LIST)) {
        home->blackCount = 0;
        int at = 0;
        for (const cJSON *item = list->child; item && at < ROUTER_SDK_BLACK_LIST; item = item->next, at++) {
            if (cJSON_IsString(item) && ParseMac(item->valuestring, home->black[home->blackCount]))
                home->blackCount++;
            else
                Report("\"black_list[%d]\" is not a MAC; it is left out", at);
        }
    }
}

// Seconds as the document has them, in milliseconds.
static bool ReadSeconds(const cJSON *value, double min, int64_t *milliseconds)
{
    if (!cJSON_IsNumber(value) || !(value->valuedouble >= min && value->valuedouble <= 1e9)) return false;
    *milliseconds = int64_t(value->valuedouble * 1000);
    return true;
}

// Returns what is wrong with the entry, or null. The devices that join are in the table already.
static const char *ReadTimetableEntry(Household *home, const cJSON *object, TimetableEntry *entry)
{
    const cJSON *join = cJSON_GetObjectItemCaseSensitive(object, "join");
    const cJSON *leave = cJSON_GetObjectItemCaseSensitive(object, "leave");
    const cJSON *every = cJSON_GetObjectItemCaseSensitive(object, "every");
    entry->periodMs = 0;
    if (!ReadSeconds(cJSON_GetObjectItemCaseSensitive(object, "at"), 0, &entry->nextMs))
        return "\"at\" is not a number of seconds from 0";
    if (every && !ReadSeconds(every, 1, &entry->periodMs)) return "\"every\" is not a number of seconds from 1";
    if (!join == !leave) return "it needs either \"join\" or \"leave\"";
    uint8_t mac[6];
    if (join ? !ParseMacMember(join, mac) : !cJSON_IsString(leave) || !ParseMac(leave->valuestring, mac))
        return "it names no MAC";
    Device *device = FindDevice(home, mac);
    if (!device) return "no device has this MAC";
    entry->device = uint16_t(device - home->devices);
    entry->join = join != nullptr;
    return nullptr;
}

static void LoadTimetable(Household *home, const cJSON *document)
{
    const cJSON *list = ListOf(document, "timetable", kMaxTimetable);
    if (!list) return;
    home->timetableCount = 0;
    // Whoever joins is made known first, so that "leave" may stand before "join". A device that is known already comes
    // back as it is: its settings may have been changed and saved since the timetable was written.
    int at = 0;
    for (const cJSON *item = list->child; item && at < kMaxTimetable; item = item->next, at++) {
        const cJSON *join = cJSON_GetObjectItemCaseSensitive(item, "join");
        uint8_t mac[6];
        if (!join || (ParseMacMember(join, mac) && FindDevice(home, mac))) continue;
        Device *device = LoadDevice(home, join, ElementPath("timetable", at).text);
        if (device) device->onlineAtStart = 0;
    }
    at = 0;
    for (const cJSON *item = list->child; item && at < kMaxTimetable; item = item->next, at++) {
        const char *problem = ReadTimetableEntry(home, item, &home->timetable[home->timetableCount]);
        if (problem)
            Report("\"timetable[%d]\" is left out: %s", at, problem);
        else
            home->timetableCount++;
    }
}

void LoadMembers(Household *home, const cJSON *document)
{
    s_reported = 0;
    for (const auto &group : kGroups) {
        const cJSON *object = cJSON_GetObjectItemCaseSensitive(document, group.name);
        if (object) LoadFields(group.fields, group.count, home, object, group.name);
    }
    LoadPlaces(home, document);
    LoadDevices(home, document);
    LoadSurroundings(home, document);
    LoadTimetable(home, document);
}
