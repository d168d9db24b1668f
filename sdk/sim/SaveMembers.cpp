#include <cjson/cJSON.h>
#include <cstring>

#include "sdk/sim/MemberTables.h"
#include "sdk/sim/Members.h"

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
    if (!item || !ParseMacMember(item, mac) || memcmp(mac, device->mac, sizeof mac) != 0) {
        for (item = list->child; item; item = item->next) {
            if (ParseMacMember(item, mac) && memcmp(mac, device->mac, sizeof mac) == 0) break;
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
