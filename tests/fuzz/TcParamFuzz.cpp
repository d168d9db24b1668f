// Any text as a bandwidth command: the agent sets both limits of a device or none, always under the lock of the device
// table, for no more devices than there are items, and for all of them if the result is 0.
#include <cerrno>
#include <cjson/cJSON.h>
#include <cstring>

#include "FuzzOs.h"
#include "core/Common.h"
#include "core/JsonParse.h"
#include "rules/BadItem.h"
#include "rules/Bandwidth.h"
#include "sdk/RouterSdk.h"
#include "subdev/SubdevMutex.h"

struct Setting {
    bool up;
    uint8_t mac[6];
    int64_t limit;
};

static std::vector<Setting> s_settings;

static int Note(bool up, const uint8_t *mac, int64_t limit)
{
    REQUIRE(pthread_mutex_trylock(&SubdevMutex) == EBUSY);
    REQUIRE(limit >= INT32_MIN && limit <= INT32_MAX);
    Setting setting = {up, {}, limit};
    memcpy(setting.mac, mac, sizeof setting.mac);
    s_settings.push_back(setting);
    return limit < 0 ? -1 : 0;
}

// Called instead of the router library's.
int set_dev_us_max_bw(const uint8_t mac[6], int64_t limit)
{
    return Note(true, mac, limit);
}

int set_dev_ds_max_bw(const uint8_t mac[6], int64_t limit)
{
    return Note(false, mac, limit);
}

// Items of the list; -1 if the agent cannot read the text as JSON.
static int ItemsOf(const char *text)
{
    cJSON *document = JsonParse(text);
    if (!document) return -1;
    const cJSON *list = cJSON_GetObjectItem(document, "LIST");
    const int count = cJSON_IsArray(list) ? cJSON_GetArraySize(list) : 0;
    cJSON_Delete(document);
    return count;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzOsReset();
    d_set_log_level(LOG_LEVEL_NONE);
    s_settings.clear();
    const std::string text(reinterpret_cast<const char *>(data), size);
    const int result = ParseTcParam(text.c_str());

    const int items = ItemsOf(text.c_str());
    const int devices = static_cast<int>(s_settings.size() / 2);
    REQUIRE(result == kLeftBadItem || (result >= BANDWIDTH_DONE && result <= BANDWIDTH_NO_DOWN));
    REQUIRE((result == BANDWIDTH_NO_JSON) == (items == -1));
    REQUIRE(s_settings.size() % 2 == 0);
    if (result == BANDWIDTH_DONE)
        REQUIRE(devices == items);
    else
        REQUIRE(devices < items || items == -1);
    for (size_t i = 0; i < s_settings.size(); i += 2) {
        REQUIRE(s_settings[i].up && !s_settings[i + 1].up);
        REQUIRE(memcmp(s_settings[i].mac, s_settings[i + 1].mac, 6) == 0);
    }
    REQUIRE(g_world.commands.empty());
    REQUIRE(pthread_mutex_trylock(&SubdevMutex) == 0);
    pthread_mutex_unlock(&SubdevMutex);
    return 0;
}
