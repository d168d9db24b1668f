#define LOG_MODULE "CommServer"
#include "comm/AutoReport.h"

#include <cjson/cJSON.h>
#include <cstdio>
#include <cstring>

#include "comm/ComRequests.h"
#include "comm/CommAnswer.h"
#include "comm/FuncIdList.h"
#include "comm/ReportTimes.h"
#include "core/Common.h"
#include "core/JsonParse.h"
#include "os/OsClock.h"
#include "os/OsWait.h"
#include "platform/Protool.h"

static const char kSet[] = "ComF_set_auto_report"; // the name in the log for its helpers
static const int kMinConfText = 2;                 // bytes of the platform's text
static const int kMaxConfText = 1023;
static const size_t kMinAnswer = 5; // bytes of the peer's answer with its status
static const size_t kMaxAnswer = 1023;
static const size_t kMinJumpTime = 9;      // "1:00-2:00"
static const size_t kMaxJumpTime = 11;     // "01:00-02:00"
static const int64_t kStampTolerance = 90; // seconds between the platform's time stamp and our clock
static const double kMaxStamp = 1e15;      // far after any date; what is above may fit no integer

OsAtomic<int> intervalFlag1{-1};
OsAtomic<int> intervalFlag2{-1};
OsAtomic<int> intervalFlag3{-1};
OsAtomic<int> referNum{-1};
OsAtomic<int> serverErr{0};
static char jumpTime[kJumpTimeSize];

// Guards jumpTime, and every change of the values above.
static pthread_mutex_t s_confLock = PTHREAD_MUTEX_INITIALIZER;

AutoReportConf AutoReportConfNow()
{
    OsGuard guard(&s_confLock);
    AutoReportConf conf = {referNum, serverErr, intervalFlag1, intervalFlag2, intervalFlag3, ""};
    memcpy(conf.jumpTime, jumpTime, sizeof conf.jumpTime);
    return conf;
}

void AutoReportConfSet(const AutoReportConf &conf)
{
    OsGuard guard(&s_confLock);
    referNum = conf.referNum;
    serverErr = conf.serverErr;
    intervalFlag1 = conf.interval1;
    intervalFlag2 = conf.interval2;
    intervalFlag3 = conf.interval3;
    memcpy(jumpTime, conf.jumpTime, sizeof jumpTime);
}

// ---- JSON ----

static void TakeInt(const cJSON *json, const char *name, int *value)
{
    const cJSON *item = cJSON_GetObjectItem(json, name);
    if (cJSON_IsNumber(item)) *value = item->valueint;
}

// Reads the members that the platform's configuration and the peer's answer have in common.
static void TakeConf(const cJSON *json, AutoReportConf *conf)
{
    TakeInt(json, "referNum", &conf->referNum);
    TakeInt(json, "interval1", &conf->interval1);
    TakeInt(json, "interval2", &conf->interval2);
    TakeInt(json, "interval3", &conf->interval3);
    const char *quiet = cJSON_GetStringValue(cJSON_GetObjectItem(json, "jumpTime"));
    if (!quiet) return;
    const size_t length = strlen(quiet);
    if (length >= kMinJumpTime && length <= kMaxJumpTime) memcpy(conf->jumpTime, quiet, length + 1);
}

void Comm_get_88Conf(const uint8_t *payload, size_t length)
{
    AutoReportConf conf;
    if (length >= kMinAnswer && length <= kMaxAnswer && payload[0] == 0) {
        char text[kMaxAnswer];
        memcpy(text, payload + 1, length - 1);
        text[length - 1] = '\0';
        LOG_DEBUG("Receive 88 info:\n%s, length=%d", text, static_cast<int>(length) - 1);
        cJSON *json = JsonParse(text);
        TakeConf(json, &conf);
        TakeInt(json, "serverDiff", &conf.serverErr);
        cJSON_Delete(json);
    }
    AutoReportConfSet(conf);
    CommForgetAnswer(FUNCID_AUTO_REPORT_CONFIG);
}

// ---- The times ----

// Stores the platform's clock, by its time stamp, minus ours. Returns false when they are too far apart.
static bool ClockDifference(const cJSON *json, int64_t now, int *difference)
{
    const cJSON *stamp = cJSON_GetObjectItem(json, "timestamp");
    const double seconds = cJSON_IsNumber(stamp) ? stamp->valuedouble : 0;
    if (!(seconds >= 0 && seconds < kMaxStamp)) return false;
    const int64_t apart = static_cast<int64_t>(seconds) - now;
    if (apart < -kStampTolerance || apart > kStampTolerance) return false;
    *difference = static_cast<int>(apart);
    return true;
}

static bool ReferNumInRange(const char *function, const AutoReportConf &conf)
{
    if (conf.referNum >= kMinReferNum && conf.referNum <= kMaxReferNum) return true;
    LOG_AS(LOG_LEVEL_ERR, function, "referNum is error !!!!!!");
    return false;
}

static bool AnyReportTimed(const AutoReportConf &conf)
{
    return conf.interval2 >= 1 || conf.interval3 >= 1;
}

static int TimesFor(const char *function, const AutoReportConf &conf, int64_t now, ReportTimes *times)
{
    const uint32_t macValue = static_cast<uint32_t>(gRoutemac[3] << 16 | gRoutemac[4] << 8 | gRoutemac[5]);
    LOG_AS(LOG_LEVEL_DEBUG, function, "MacVal: %d", static_cast<int>(macValue));
    const int64_t midnight = AnyReportTimed(conf) ? OsLocalMidnight(static_cast<time_t>(now)) : 0;
    const ReportPlan plan = {macValue,      conf.referNum,  conf.interval2, conf.interval3,
                             conf.jumpTime, conf.serverErr, midnight,       now};
    if (ReportTimesOf(plan, times) == 0) return 0;
    LOG_AS(LOG_LEVEL_ERR, function, "jump time is error!");
    return -1;
}

// ---- The platform's configuration ----

// The text goes to the peer as it came, with more members appended: they replace its last brace.
static size_t LengthWithoutBrace(const char *text)
{
    size_t length = strlen(text);
    while (length > 0 && text[length - 1] != '}') length--;
    return length > 0 ? length - 1 : 0;
}

static int RequestFrom(const cJSON *json, const char *text, AutoReportConf *conf, char request[kMaxAutoReportText + 1])
{
    *conf = {};
    TakeConf(json, conf);
    if (!ReferNumInRange(kSet, *conf)) return 1;
    const int64_t now = OsWallTime();
    if (AnyReportTimed(*conf) && !ClockDifference(json, now, &conf->serverErr)) {
        LOG_AS(LOG_LEVEL_ERR, kSet, "Calibration time error !!!!!!");
        return 1;
    }
    ReportTimes times;
    if (TimesFor(kSet, *conf, now, &times) != 0) return 1;
    const int length =
        snprintf(request, kMaxAutoReportText + 1,
                 "%.*s,\"serverDiff\":%d,\"dayReportTime\":\"%f\",\"cycleReportStart\":\"%f\",\"save\":1}",
                 static_cast<int>(LengthWithoutBrace(text)), text, conf->serverErr, times.day, times.cycle);
    if (length > static_cast<int>(kMaxAutoReportText)) {
        // Half a JSON text is useless to the peer.
        LOG_AS(LOG_LEVEL_ERR, kSet, "auto report info too long, length=%d", length);
        return 1;
    }
    LOG_AS(LOG_LEVEL_DEBUG, kSet, "set auto report info:\n%s, length=%d", request, length);
    return 0;
}

int AutoReportRequest(const char *text, int length, AutoReportConf *conf, char request[kMaxAutoReportText + 1])
{
    if (length < kMinConfText || length > kMaxConfText) return 1;
    char copy[kMaxConfText + 1];
    snprintf(copy, sizeof copy, "%.*s", length, text);
    LOG_AS(LOG_LEVEL_DEBUG, kSet, "Receive 88 info:\n%s, length=%d", copy, length);
    cJSON *json = JsonParse(copy, true); // nothing but blanks after it
    if (!json) return 1;
    const int result = RequestFrom(json, copy, conf, request);
    cJSON_Delete(json);
    return result;
}

int ComF_set_auto_report(const char *text, int length)
{
    AutoReportConf conf;
    char request[kMaxAutoReportText + 1];
    if (AutoReportRequest(text, length, &conf, request) != 0) return 1;
    const CommTurn turn(FUNCID_SET_AUTO_REPORT);
    if (!turn.Held()) return 1;
    AutoReportConfSet(conf); // in our turn: a late answer with the peer's previous configuration must not replace it
    return CommAskInTurn({__func__, "ERROR: send set autoreport switch command failed!", FUNCID_SET_AUTO_REPORT,
                          request, static_cast<uint32_t>(strlen(request)), kAnswerTicks, nullptr, 0, nullptr});
}

// ---- Calibration ----

static bool NothingToCalibrate(const AutoReportConf &conf)
{
    if (conf.interval2 == 0 && conf.interval3 == 0) {
        LOG_AS(LOG_LEVEL_DEBUG, "ComF_send_calibration", "Function 89 closed, no need calibration!");
        return true;
    }
    if (conf.interval2 == -1 && conf.interval3 == -1) {
        LOG_AS(LOG_LEVEL_DEBUG, "ComF_send_calibration", "Function 89 no config, no need calibration!");
        return true;
    }
    return false;
}

void ComF_send_calibration()
{
    const CommTurn turn(FUNCID_SET_AUTO_REPORT); // before the configuration is read: a command may replace it meanwhile
    if (!turn.Held()) return;
    const AutoReportConf conf = AutoReportConfNow();
    if (!ReferNumInRange(__func__, conf) || NothingToCalibrate(conf)) return;
    ReportTimes times;
    if (TimesFor(__func__, conf, OsWallTime(), &times) != 0) return;
    char request[kMaxAutoReportText + 1];
    const int length = snprintf(request, sizeof request,
                                "{\"interval1\":%d,\"interval2\":%d,\"interval3\":%d,\"dayReportTime\":\"%f\","
                                "\"cycleReportStart\":\"%f\",\"save\":0}",
                                conf.interval1, conf.interval2, conf.interval3, times.day, times.cycle);
    LOG_DEBUG("set auto report info:\n%s, length=%d", request, length);
    if (CommSendCmd(FUNCID_SET_AUTO_REPORT, request, static_cast<uint32_t>(length)) == 0)
        LOG_DEBUG("Send calibration success, No need return!");
    else
        LOG_ERR("ERROR: send set autoreport switch command failed!");
}
