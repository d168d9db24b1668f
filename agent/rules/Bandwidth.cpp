#define LOG_MODULE "RouteFunc"
#include "rules/Bandwidth.h"

#include <algorithm>
#include <cjson/cJSON.h>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "core/Common.h"
#include "core/JsonParse.h"
#include "core/MacText.h"
#include "rules/BadItem.h"
#include "sdk/RouterSdk.h"
#include "subdev/DeviceTable.h"

namespace
{
struct Member {
    char name[5];
    int missing; // the result if an item does not have it
};
} // namespace

static const Member kMembers[] = {
    {"FLAG", BANDWIDTH_NO_FLAG},
    {"MAC", BANDWIDTH_NO_MAC},
    {"UP", BANDWIDTH_NO_UP},
    {"DOWN", BANDWIDTH_NO_DOWN},
};
enum { FLAG, MAC, UP, DOWN, MEMBERS };

static const char kFunction[] = "ParseTcParam"; // the procedure name in all log lines of the command
static const int kStay = INT_MIN;               // not a result: the item has to be read again

// The number at the start of `text`, 0 if there is none; limited to the range of 32 bits.
static int64_t Number(const char *text)
{
    return std::clamp<long>(strtol(text, nullptr, 10), INT32_MIN, INT32_MAX);
}

// Nothing is logged while the lock is held.
static void SetLimits(const uint8_t *mac, int64_t up, int64_t down)
{
    const int upResult = WithDeviceTable([&] { return set_dev_us_max_bw(mac, up); }, kFunction);
    LOG_AS(LOG_LEVEL_DEBUG, kFunction, "set_dev_us_max_bw result: %d", upResult);
    const int downResult = WithDeviceTable([&] { return set_dev_ds_max_bw(mac, down); }, kFunction);
    LOG_AS(LOG_LEVEL_DEBUG, kFunction, "set_dev_ds_max_bw result: %d", downResult);
}

// Returns a BandwidthResult, or kStay.
static int ApplyItem(const cJSON *item)
{
    const char *texts[MEMBERS];
    bool allTexts = true;
    for (int i = 0; i < MEMBERS; i++) {
        const cJSON *member = cJSON_GetObjectItem(item, kMembers[i].name);
        if (!member) return kMembers[i].missing;
        const char *text = cJSON_GetStringValue(member);
        texts[i] = text ? text : "(null)";
        allTexts = allTexts && text;
    }
    LOG_AS(LOG_LEVEL_DEBUG, kFunction, "\nflag:%s\n dev_mac:%s\n up_flow:%s\n down_flow:%s\n\n", texts[FLAG],
           texts[MAC], texts[UP], texts[DOWN]);
    if (!allTexts) {
        LOG_AS(LOG_LEVEL_ERR, kFunction, "Wrong tc rule param");
        return kStay;
    }
    uint8_t mac[kMacSize];
    if (!MacScan(texts[MAC], ':', mac)) {
        LOG_AS(LOG_LEVEL_ERR, kFunction, "Wrong tc rule param dev_mac");
        return kStay;
    }
    if (strcmp(texts[FLAG], "1") == 0) {
        SetLimits(mac, Number(texts[UP]), Number(texts[DOWN]));
    } else if (strcmp(texts[FLAG], "0") == 0) {
        LOG_AS(LOG_LEVEL_DEBUG, kFunction, "flag = 0, clean tc rules");
        SetLimits(mac, 0, 0);
    } else {
        LOG_AS(LOG_LEVEL_ERR, kFunction, "Wrong tc rule param flag");
        return kStay;
    }
    return BANDWIDTH_DONE;
}

static int ApplyList(const cJSON *document)
{
    const cJSON *list = cJSON_GetObjectItem(document, "LIST");
    const cJSON *item = cJSON_IsArray(list) ? list->child : nullptr;
    while (item) {
        const int result = ApplyItem(item);
        if (result == BANDWIDTH_DONE)
            item = item->next;
        else if (result != kStay)
            return result;
        else if (!StayOnBadItem())
            return kLeftBadItem;
    }
    return BANDWIDTH_DONE;
}

int ParseTcParam(const char *json)
{
    if (!json) return BANDWIDTH_NO_TEXT;
    cJSON *document = JsonParse(json);
    if (!document) {
        LOG_DEBUG("Parse json failed.");
        return BANDWIDTH_NO_JSON;
    }
    const int result = ApplyList(document);
    cJSON_Delete(document);
    return result;
}
