#include "sdk/sim/Members.h"

#include "sdk/sim/Complain.h"
#include "sdk/sim/Fields.h"
#include <cjson/cJSON.h>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <iterator>

#define PLACE(record, member) uint16_t(offsetof(record, member)), uint16_t(sizeof(record::member))
#define TEXT(name, record, member)                                                                                     \
    {                                                                                                                  \
        name, FIELD_TEXT, PLACE(record, member), 0, 0, ""                                                              \
    }
#define NUMBER(name, record, member, least, most)                                                                      \
    {                                                                                                                  \
        name, FIELD_NUMBER, PLACE(record, member), least, most, ""                                                     \
    }
#define SWITCH(name, record, member)                                                                                   \
    {                                                                                                                  \
        name, FIELD_SWITCH, PLACE(record, member), 0, 0, ""                                                            \
    }
#define SWITCHES(name, record, member)                                                                                 \
    {                                                                                                                  \
        name, FIELD_SWITCHES, PLACE(record, member), 0, 0, ""                                                          \
    }
#define ADDRESS(name, record, member)                                                                                  \
    {                                                                                                                  \
        name, FIELD_ADDRESS, PLACE(record, member), 0, 0, ""                                                           \
    }
#define MAC(name, record, member)                                                                                      \
    {                                                                                                                  \
        name, FIELD_MAC, PLACE(record, member), 0, 0, ""                                                               \
    }
#define WORD(name, record, member, words)                                                                              \
    {                                                                                                                  \
        name, FIELD_WORD, PLACE(record, member), 0, 0, words                                                           \
    }
#define DATE(name, record, member)                                                                                     \
    {                                                                                                                  \
        name, FIELD_DATE, PLACE(record, member), 0, 0, ""                                                              \
    }

static const int64_t MOST_EXACT = int64_t(1) << 53; // the largest number that JSON's doubles count up to by ones

static const Field kRouter[] = {
    MAC("mac", Household, mac),
    TEXT("serial", Household, serial),
    TEXT("pin", Household, pin),
    TEXT("version", Household, version.text),
    DATE("version_date", Household, version.date),
    TEXT("vendor", Household, vendor),
    TEXT("model", Household, model),
    TEXT("name", Household, name),
    SWITCH("is_plug", Household, isPlug),
    SWITCH("ipv6", Household, ipv6),
    SWITCH("led", Household, led),
    NUMBER("uptime", Household, uptimeAtStart, 0, 3153600000),
    NUMBER("clock_offset", Household, clockOffset, -MOST_EXACT, MOST_EXACT),
    TEXT("redirection", Household, redirection),
    TEXT("rom_update", Household, romUpdate),
    TEXT("http_test_url", Household, httpTestUrl),
    SWITCHES("full_load", Household, fullLoad),
};

static const Field kCpu[] = {
    TEXT("model", Household, cpu.model),
    NUMBER("mhz", Household, cpu.mhz, 0, UINT16_MAX),
    NUMBER("cores", Household, cpu.cores, 1, UINT8_MAX),
};

static const Field kMemory[] = {
    NUMBER("kilobytes", Household, memory.kilobytes, 0, UINT32_MAX),
    TEXT("type", Household, memory.type),
};

static const Field kLan[] = {
    MAC("mac", Household, lan.mac),
    ADDRESS("ip", Household, lan.ip),
    ADDRESS("netmask", Household, lan.netmask),
    NUMBER("ports", Household, lanPorts, 0, ROUTER_SDK_LAN_PORTS),
};

static const Field kDns[] = {
    ADDRESS("primary", Household, dns[0]),
    ADDRESS("secondary", Household, dns[1]),
};

static const Field kWifi[] = {
    SWITCH("radio", Household, radio),
    SWITCH("wps", Household, wps),
    SWITCHES("modules", Household, modules),
};

static const Field kServices[] = {
    SWITCH("ftp", Household, ftp.on),
    TEXT("ftp_user", Household, ftp.user),
    TEXT("ftp_password", Household, ftp.password),
    SWITCH("samba", Household, samba.on),
    TEXT("samba_user", Household, samba.user),
    TEXT("samba_password", Household, samba.password),
    SWITCH("telnet", Household, telnet.on),
    TEXT("telnet_user", Household, telnet.user),
    TEXT("telnet_password", Household, telnet.password),
};

static const Field kWan[] = {
    WORD("mode", WanCfg, mode, "dhcp static pppoe bridge"),
    NUMBER("vlan", WanCfg, vlan, 0, 4095),
    NUMBER("mtu", WanCfg, mtu, 68, UINT16_MAX),
    TEXT("name", WanCfg, name),
    TEXT("user", WanCfg, user),
    TEXT("password", WanCfg, password),
    MAC("mac", WanCfg, mac),
    ADDRESS("ip", WanCfg, ip),
    ADDRESS("netmask", WanCfg, netmask),
    ADDRESS("gateway", WanCfg, gateway),
    ADDRESS("dns1", WanCfg, dns1),
    ADDRESS("dns2", WanCfg, dns2),
    NUMBER("services", WanCfg, services, 0, UINT16_MAX),
    SWITCH("connected", WanCfg, connected),
};

static const Field kSsid[] = {
    TEXT("ssid", SsidCfg, ssid),
    TEXT("key", SsidCfg, key),
    SWITCH("enabled", SsidCfg, enabled),
    SWITCH("hidden", SsidCfg, hidden),
    NUMBER("security", SsidCfg, security, 0, UINT16_MAX),
    NUMBER("bandwidth", SsidCfg, bandwidth, 0, 320),
    NUMBER("channel", SsidCfg, channel, 0, 196),
    ADDRESS("ip", SsidCfg, ip),
    ADDRESS("netmask", SsidCfg, netmask),
};

static const Field kNeighbour[] = {
    MAC("bssid", AdjWifi, bssid),
    TEXT("ssid", AdjWifi, ssid),
    TEXT("security", AdjWifi, security),
    NUMBER("rssi", AdjWifi, rssi, -200, 100),
    NUMBER("frequency", AdjWifi, frequency, 0, UINT32_MAX),
    NUMBER("channel", AdjWifi, channel, 0, 233),
    NUMBER("bandwidth", AdjWifi, bandwidth, 0, 320),
    NUMBER("load", AdjWifi, load, 0, 100),
};

static const Field kDevice[] = {
    MAC("mac", Device, mac),
    TEXT("name", Device, name),
    ADDRESS("ip", Device, ip),
    WORD("link", Device, link, "wired wifi_2g wifi_5g"),
    NUMBER("port", Device, port, 0, ROUTER_SDK_SSIDS - 1),
    SWITCH("access", Device, access),
    SWITCH("online", Device, onlineAtStart),
    NUMBER("speed", Device, speed, 1, UINT16_MAX),
    NUMBER("typical_up", Device, typicalUp, 0, UINT32_MAX),
    NUMBER("typical_down", Device, typicalDown, 0, UINT32_MAX),
    NUMBER("max_up", Device, maxUp, 0, MOST_EXACT),
    NUMBER("max_down", Device, maxDown, 0, MOST_EXACT),
};

static const struct {
    char name[16];
    const Field *fields;
    size_t count;
} kGroups[] = {
    {"router", kRouter, std::size(kRouter)},
    {"cpu", kCpu, std::size(kCpu)},
    {"memory", kMemory, std::size(kMemory)},
    {"lan", kLan, std::size(kLan)},
    {"dns", kDns, std::size(kDns)},
    {"wifi", kWifi, std::size(kWifi)},
    {"services", kServices, std::size(kServices)},
};

// ------------------------------------------------------------------------------------------------------- Loading

static int s_reported; // bad members of the document being loaded

static void Report(const char *format, ...) __attribute__((format(printf, 1, 2)));
static void Report(const char *format, ...)
{
    enum { MOST = 20 };
    if (++s_reported > MOST + 1) return;
    if (s_reported > MOST) {
        Complain("ROUTER_SIM_STATE: more members are not as expected; their defaults hold");
        return;
    }
    char text[300];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    Complain("ROUTER_SIM_STATE: %s; its default holds", text);
}

template <size_t N>
static void LoadFields(const Field (&fields)[N], void *record, const cJSON *object, const char *path);
static void LoadFields(const Field *fields, size_t count, void *record, const cJSON *object, const char *path)
{
    if (!cJSON_IsObject(object)) {
        Report("\"%s\" is not an object", path);
        return;
    }
    for (const Field *field = fields; field < fields + count; field++) {
        const cJSON *value = cJSON_GetObjectItemCaseSensitive(object, field->name);
        char room[80];
        const char *wanted = value ? ReadField(field, record, value, room) : nullptr;
        if (wanted) Report("\"%s.%s\" is not %s", path, field->name, wanted);
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
        Report("\"%s\" is not a list", name);
        return nullptr;
    }
    int size = cJSON_GetArraySize(list);
    if (size > room) Complain("ROUTER_SIM_STATE: \"%s\" has %d elements; only the first %d are used", name, size, room);
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

static bool MacOf(const cJSON *object, uint8_t mac[6])
{
    const cJSON *value = cJSON_GetObjectItemCaseSensitive(object, "mac");
    return cJSON_IsString(value) && ParseMac(value->valuestring, mac);
}

// Takes a device into the table. Null, reported, when it has no MAC of its own or the table is full.
static Device *LoadDevice(Household *home, const cJSON *object, const char *path)
{
    uint8_t mac[6];
    if (!cJSON_IsObject(object) || !MacOf(object, mac)) {
        Complain("ROUTER_SIM_STATE: \"%s\" has no \"mac\" like \"02:1a:2b:00:00:14\"; it is left out", path);
        return nullptr;
    }
    if (FindDevice(home, mac)) {
        Complain("ROUTER_SIM_STATE: \"%s\" has the MAC of another device; it is left out", path);
        return nullptr;
    }
    if (home->deviceCount == SIM_DEVICES) {
        Complain("ROUTER_SIM_STATE: \"%s\" is one device too many; it is left out", path);
        return nullptr;
    }
    Device *device = &home->devices[home->deviceCount++];
    BlankDevice(device);
    LoadFields(kDevice, device, object, path);
    return device;
}

static void LoadDevices(Household *home, const cJSON *document)
{
    const cJSON *list = ListOf(document, "devices", SIM_DEVICES);
    if (!list) return;
    home->deviceCount = 0;
    int at = 0;
    for (const cJSON *item = list->child; item && at < SIM_DEVICES; item = item->next, at++)
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
                Complain("ROUTER_SIM_STATE: \"black_list[%d]\" is not a MAC; it is left out", at);
        }
    }
}

// Seconds as the document has them, in milliseconds.
static bool ReadSeconds(const cJSON *value, double least, int64_t *milliseconds)
{
    if (!cJSON_IsNumber(value) || !(value->valuedouble >= least && value->valuedouble <= 1e9)) return false;
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
    if (join ? !MacOf(join, mac) : !cJSON_IsString(leave) || !ParseMac(leave->valuestring, mac))
        return "it names no MAC";
    Device *device = FindDevice(home, mac);
    if (!device) return "no device has this MAC";
    entry->device = uint16_t(device - home->devices);
    entry->join = join != nullptr;
    return nullptr;
}

static void LoadTimetable(Household *home, const cJSON *document)
{
    const cJSON *list = ListOf(document, "timetable", SIM_TIMETABLE);
    if (!list) return;
    home->timetableCount = 0;
    // Whoever joins is made known first, so that "leave" may stand before "join". A device that is known already comes
    // back as it is: its settings may have been changed and saved since the timetable was written.
    int at = 0;
    for (const cJSON *item = list->child; item && at < SIM_TIMETABLE; item = item->next, at++) {
        const cJSON *join = cJSON_GetObjectItemCaseSensitive(item, "join");
        uint8_t mac[6];
        if (!join || (MacOf(join, mac) && FindDevice(home, mac))) continue;
        Device *device = LoadDevice(home, join, ElementPath("timetable", at).text);
        if (device) device->onlineAtStart = 0;
    }
    at = 0;
    for (const cJSON *item = list->child; item && at < SIM_TIMETABLE; item = item->next, at++) {
        const char *problem = ReadTimetableEntry(home, item, &home->timetable[home->timetableCount]);
        if (problem)
            Complain("ROUTER_SIM_STATE: \"timetable[%d]\" is left out: %s", at, problem);
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

// -------------------------------------------------------------------------------------------------------- Saving

// Sets a member of an object, new or in the place of the one there. False when memory ran out.
static bool SetMember(cJSON *object, const char *name, cJSON *value)
{
    if (!value) return false;
    if (cJSON_GetObjectItemCaseSensitive(object, name))
        cJSON_ReplaceItemInObjectCaseSensitive(object, name, value);
    else
        cJSON_AddItemToObject(object, name, value);
    return cJSON_GetObjectItemCaseSensitive(object, name) == value;
}

static bool SaveFields(const Field *fields, size_t count, const void *record, cJSON *object)
{
    for (const Field *field = fields; field < fields + count; field++) {
        if (!SetMember(object, field->name, WriteField(field, record))) return false;
    }
    return true;
}

template <size_t N>
static bool SaveFields(const Field (&fields)[N], const void *record, cJSON *object)
{
    return SaveFields(fields, N, record, object);
}

// The list of that name; a new one when there is none or something else stands there. `isNew` may be null.
static cJSON *ListToSave(cJSON *document, const char *name, bool *isNew)
{
    cJSON *list = cJSON_GetObjectItemCaseSensitive(document, name);
    if (isNew) *isNew = !cJSON_IsArray(list);
    if (cJSON_IsArray(list)) return list;
    list = cJSON_CreateArray();
    return list && SetMember(document, name, list) ? list : nullptr;
}

static cJSON *AppendObject(cJSON *list)
{
    cJSON *object = cJSON_CreateObject();
    if (object) cJSON_AddItemToArray(list, object);
    return object;
}

// The element to save the next record of a list into. `cursor` goes along the list and is null behind its end.
static cJSON *NextPlace(cJSON *list, cJSON **cursor)
{
    cJSON *item = *cursor;
    if (!item) return AppendObject(list);
    if (!cJSON_IsObject(item)) {
        cJSON *object = cJSON_CreateObject();
        if (!object || !cJSON_ReplaceItemViaPointer(list, item, object)) return nullptr;
        item = object;
    }
    *cursor = item->next;
    return item;
}

static bool SavePlaces(const Household *home, cJSON *document)
{
    cJSON *list = ListToSave(document, "wans", nullptr);
    cJSON *cursor = list ? list->child : nullptr;
    for (uint16_t i = 0; list && i < home->wanCount; i++) {
        cJSON *object = NextPlace(list, &cursor);
        if (!object || !SaveFields(kWan, &home->wans[i], object)) return false;
    }
    if (!list || !(list = ListToSave(document, "ssids", nullptr))) return false;
    cursor = list->child;
    for (uint16_t i = 0; i < home->ssidCount; i++) {
        cJSON *object = NextPlace(list, &cursor);
        if (!object || !SaveFields(kSsid, &home->ssids[i], object)) return false;
    }
    return true;
}

// The device's element: nearly always the one at the cursor, else wherever its MAC stands, else null.
static cJSON *ElementOfDevice(cJSON *list, cJSON **cursor, const Device *device)
{
    uint8_t mac[6];
    cJSON *item = *cursor;
    if (!item || !MacOf(item, mac) || memcmp(mac, device->mac, sizeof mac) != 0) {
        for (item = list->child; item; item = item->next) {
            if (MacOf(item, mac) && memcmp(mac, device->mac, sizeof mac) == 0) break;
        }
    }
    if (item) *cursor = item->next;
    return item;
}

static bool SaveDevices(const Household *home, cJSON *document)
{
    cJSON *list = ListToSave(document, "devices", nullptr);
    if (!list) return false;
    cJSON *cursor = list->child;
    for (uint16_t i = 0; i < home->deviceCount; i++) {
        cJSON *object = ElementOfDevice(list, &cursor, &home->devices[i]);
        if (!object) object = AppendObject(list);
        if (!object || !SaveFields(kDevice, &home->devices[i], object)) return false;
    }
    return true;
}

// No function changes these, so they are written only where the document has none.
static bool SaveSurroundings(const Household *home, cJSON *document)
{
    bool isNew;
    cJSON *list = ListToSave(document, "neighbours", &isNew);
    if (!list) return false;
    for (uint16_t i = 0; isNew && i < home->neighbourCount; i++) {
        cJSON *object = AppendObject(list);
        if (!object || !SaveFields(kNeighbour, &home->neighbours[i], object)) return false;
    }
    static const Field kElement = {"", FIELD_MAC, 0, 6, 0, 0, ""};
    list = ListToSave(document, "black_list", &isNew);
    if (!list) return false;
    for (uint16_t i = 0; isNew && i < home->blackCount; i++) {
        cJSON *mac = WriteField(&kElement, home->black[i]);
        if (!mac) return false;
        cJSON_AddItemToArray(list, mac);
    }
    return true;
}

bool SaveMembers(const Household *home, cJSON *document)
{
    for (const auto &group : kGroups) {
        cJSON *object = cJSON_GetObjectItemCaseSensitive(document, group.name);
        if (!cJSON_IsObject(object)) {
            object = cJSON_CreateObject();
            if (!object || !SetMember(document, group.name, object)) return false;
        }
        if (!SaveFields(group.fields, group.count, home, object)) return false;
    }
    return SavePlaces(home, document) && SaveDevices(home, document) && SaveSurroundings(home, document);
}
