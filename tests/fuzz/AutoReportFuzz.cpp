// Any text as the platform's auto-report configuration, as the local peer's answer about it and as a quiet period: the
// text for the local peer is JSON with the received values and this router's times.
//
// Input: MAC value (3 bytes), seconds from the fuzz clock's start (2 bytes), then the text.
#include <cjson/cJSON.h>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "FuzzOs.h"
#include "comm/AutoReport.h"
#include "comm/ComRequests.h"
#include "comm/ReportTimes.h"
#include "core/Common.h"
#include "os/OsClock.h"
#include "platform/Protool.h"

static double TimeIn(const cJSON *request, const char *name)
{
    const char *text = cJSON_GetStringValue(cJSON_GetObjectItem(request, name));
    REQUIRE(text != nullptr);
    char *end = nullptr;
    const double time = strtod(text, &end);
    REQUIRE(*end == '\0' && std::isfinite(time));
    return time;
}

static bool SaneConf(const AutoReportConf &conf)
{
    const size_t length = strnlen(conf.jumpTime, sizeof conf.jumpTime);
    return length == 0 || (length >= 9 && length <= 11);
}

static void PlatformsConfiguration(const std::string &text)
{
    AutoReportConf conf;
    char request[kMaxAutoReportText + 1];
    if (AutoReportRequest(text.c_str(), static_cast<int>(text.size()), &conf, request) != 0) return;
    REQUIRE(conf.referNum >= kMinReferNum && conf.referNum <= kMaxReferNum);
    REQUIRE(conf.serverErr >= -90 && conf.serverErr <= 90);
    REQUIRE(SaneConf(conf));
    REQUIRE(strlen(request) <= kMaxAutoReportText);

    cJSON *json = cJSON_ParseWithOpts(request, nullptr, true);
    REQUIRE(json != nullptr);
    const double now = static_cast<double>(OsWallTime());
    const double cycle = TimeIn(json, "cycleReportStart");
    // It may be past, but by less than 30 s; it is at most one period away, or two if it was too near.
    if (conf.interval3 >= 1)
        REQUIRE(cycle > now - 30 && cycle <= now + 30 + 120.0 * conf.interval3 + std::abs(conf.serverErr) + 86400);
    else
        REQUIRE(cycle == 0);
    if (conf.interval2 != kDailyInterval) REQUIRE(TimeIn(json, "dayReportTime") == 0);
    REQUIRE(cJSON_IsString(cJSON_GetObjectItem(json, "dayReportTime")));
    cJSON_Delete(json);

    REQUIRE(ComF_set_auto_report(text.c_str(), static_cast<int>(text.size())) == 1); // there is no local peer
    REQUIRE(AutoReportConfNow().referNum == conf.referNum && intervalFlag3 == conf.interval3);
}

static void PeersAnswer(const std::string &text)
{
    Comm_get_88Conf(reinterpret_cast<const uint8_t *>(text.data()), text.size());
    REQUIRE(SaneConf(AutoReportConfNow()));
    const bool read = text.size() >= 5 && text.size() <= 1023 && text[0] == '\0';
    if (!read) REQUIRE(referNum == -1 && serverErr == 0 && intervalFlag1 == -1);
    ComF_send_calibration();
}

static void QuietPeriod(std::string text)
{
    int begin = 0, end = 0;
    if (jumpTimeToSec(&end, &begin, &text[0]) == 0) REQUIRE(std::abs(begin - end) >= 3600);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzOsReset();
    d_set_log_level(LOG_LEVEL_NONE);
    FuzzInput input = {data, size};
    for (int i = 3; i < 6; i++) gRoutemac[i] = input.Byte();
    g_world.nowMs = input.Word() * INT64_C(1000);
    const std::string text(reinterpret_cast<const char *>(input.data), input.left);
    PlatformsConfiguration(text);
    PeersAnswer(text);
    PeersAnswer('\0' + text);
    QuietPeriod(text);
    return 0;
}
