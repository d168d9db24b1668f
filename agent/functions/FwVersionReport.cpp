#define LOG_MODULE "ProtoolSdk"
#include "functions/FwVersionReport.h"

#include <cjson/cJSON.h>
#include <cstdio>
#include <cstring>

#include "comm/AutoReport.h"
#include "core/Common.h"
#include "core/Version.h"
#include "platform/Sending.h"
#include "platform/Session.h"
#include "sdk/RouterSdk.h"

static const uint8_t kFwVersionData = 14;
static const size_t kDateDigits = 8;

// Exactly two characters for each of the four date bytes.
static void FirmwareDate(const int8_t date[4], char digits[kDateDigits + 1])
{
    for (size_t i = 0; i < 4; i++) {
        char number[5];
        snprintf(number, sizeof number, "%02d", date[i]);
        memcpy(digits + 2 * i, number, 2);
    }
    digits[kDateDigits] = '\0';
    LOG_AS(LOG_LEVEL_DEBUG, "dev_fwversion_report", "fwDate:%s", digits);
}

// Returns false if there is no memory for a member.
static bool AddMembers(cJSON *report, const RouterVersion &router)
{
    char date[kDateDigits + 1];
    FirmwareDate(router.date, date);
    char version[sizeof router.text + sizeof date];
    snprintf(version, sizeof version, "%.*s%s", static_cast<int>(sizeof router.text), router.text, date);
    const bool configured = intervalFlag2 != -1 && intervalFlag3 != -1;
    return cJSON_AddStringToObject(report, "version", version) &&
           cJSON_AddStringToObject(report, "sdkVersion", kPluginVersionText) &&
           cJSON_AddNumberToObject(report, "interval1", intervalFlag1) &&
           cJSON_AddNumberToObject(report, "interval2", intervalFlag2) &&
           cJSON_AddNumberToObject(report, "interval3", intervalFlag3) &&
           cJSON_AddStringToObject(report, "configed", configured ? "yes" : "no");
}

int dev_fwversion_report()
{
    cJSON *report = cJSON_CreateObject();
    if (!report) return -1;
    RouterVersion router = {};
    if (get_router_version(&router) != 0 || !AddMembers(report, router)) {
        cJSON_Delete(report);
        return -1;
    }
    char *text = cJSON_Print(report);
    cJSON_Delete(report);
    if (!text) return -2;
    SendIpUpData(text, static_cast<int>(strlen(text)), kFwVersionData, 0, nullptr);
    LOG_DEBUG("fwversion:\n%s", text);
    cJSON_free(text);
    return 0;
}
