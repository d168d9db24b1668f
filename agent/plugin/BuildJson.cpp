#define LOG_MODULE "ParseJson"
#include "plugin/BuildJson.h"

#include <cjson/cJSON.h>
#include <cstdio>
#include <cstring>

#include "core/MacText.h"
#include "http/Download.h"
#include "platform/Settings.h"
#include "plugin/PlugParameters.h"
#include "sdk/RouterSdk.h"
#include "subdev/DeviceTable.h"

static const size_t kNameSize = 64;

// Stores the router's name of the device `text`, terminated. Returns 0 or the error of BuildJson().
static int NameOf(const char *text, char name[kNameSize + 1])
{
    uint8_t mac[kMacSize];
    if (!MacFromText(text, 0, mac)) return kJsonNoMac;
    memset(name, 0, kNameSize + 1);
    return WithDeviceTable([&] { return get_dev_name(mac, name); }, "BuildJson");
}

// Both return false if there is no memory for the member.
static bool AddText(cJSON *report, const char *name, const char *value)
{
    return cJSON_AddStringToObject(report, name, value) != nullptr;
}

static bool AddNumber(cJSON *report, const char *name, int value)
{
    return cJSON_AddNumberToObject(report, name, value) != nullptr;
}

static bool AddMembers(cJSON *report, int kind, int result, const char *text, const char *name, const char *data)
{
    char rate[16];
    switch (kind) {
    case JSON_DEVICE_ONLINE:
        return AddText(report, "mac", text) && AddText(report, "dev_name", name) && AddText(report, "status", "online");
    case JSON_DEVICE_OFFLINE: return AddText(report, "mac", text) && AddText(report, "status", "offline");
    case JSON_UPDATE:
        return AddText(report, "pluginID", mPluginID) && AddText(report, "fromVersion", mFromVersion) &&
               AddText(report, "toVersion", mToVersion) && AddNumber(report, "process", mProcess) &&
               AddNumber(report, "result", result) && AddText(report, "resultDesc", text);
    case JSON_DEVICE_DATA:
        return AddText(report, "mac", text) && AddText(report, "dev_name", name) && AddText(report, "data", data);
    default:
        snprintf(rate, sizeof rate, "%d", gDownRate.load());
        return AddText(report, "devpin", g_pin_code) && AddText(report, "rate", rate);
    }
}

int BuildJson(int kind, int result, const char *text, const char *data, char *out, size_t size)
{
    if (kind < JSON_DEVICE_ONLINE || kind == 3 || kind > JSON_RATE) return 0;
    out[0] = '\0';
    char name[kNameSize + 1];
    const int named = kind == JSON_DEVICE_ONLINE || kind == JSON_DEVICE_DATA ? NameOf(text, name) : 0;
    if (named != 0) return named;
    cJSON *report = cJSON_CreateObject();
    char *printed = AddMembers(report, kind, result, text, name, data) ? cJSON_PrintUnformatted(report) : nullptr;
    cJSON_Delete(report);
    const size_t length = printed ? strlen(printed) : size;
    if (length < size) memcpy(out, printed, length + 1);
    cJSON_free(printed);
    return length < size ? 0 : -1;
}
