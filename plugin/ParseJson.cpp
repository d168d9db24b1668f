#define LOG_MODULE "ParseJson"
#include "plugin/ParseJson.h"

#include <cjson/cJSON.h>
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "comm/ComRequests.h"
#include "comm/FirmwareAnswer.h"
#include "core/Common.h"
#include "core/JsonParse.h"
#include "functions/Url.h"
#include "platform/Settings.h"
#include "plugin/PlugParameters.h"
#include "plugin/PlugUpdate.h"
#include "rules/PortForward.h"

static const size_t kUrlMax = 255;
static const size_t kPortMax = 7; // characters
static const int kHttpPort = 80;
static const size_t kMacDigits = 12;
static const int kIntervalMax = 19;    // minutes
static const int kCyclesPerMinute = 6; // of the device reports
static const uint32_t kFirmware = 999; // the local peer's command
static const int kFirmwareUnknown = 9; // an error without a code of its own

// ---- Members ----

namespace
{
enum Kind : uint8_t {
    ANY,      // is there, whatever it is
    TEXT,     // to `place`; without one it is only looked at
    NUMBER,   // whole, of `size` bytes, to `place`
    MAC,      // 12 hexadecimal digits
    URL,      // in its parts
    INTERVAL, // of the device reports
};

struct Member {
    uint8_t dataType;
    Kind kind;
    int8_t code; // of the command when it is missing
    const char *name;
    void *place;
    size_t size;
    const char *missing; // log text
};
} // namespace

#define PLACE(variable) &(variable), sizeof(variable)
#define NOWHERE nullptr, 0

// By command, in the order in which they are looked at.
static const Member kMembers[] = {
    {PLUG_UPDATE_CMD, TEXT, -1, "pluginID", PLACE(mPluginID), nullptr},
    {PLUG_UPDATE_CMD, TEXT, -1, "fromVersion", PLACE(mFromVersion), nullptr},
    {PLUG_UPDATE_CMD, TEXT, -1, "toVersion", PLACE(mToVersion), nullptr},
    {PLUG_UPDATE, URL, -1, "url", NOWHERE, nullptr},
    {PLUG_UPDATE, NUMBER, -1, "fileLength", PLACE(mFileLength), nullptr},
    {PLUG_UPDATE, TEXT, -1, "fileMD5", PLACE(mFileMD5), nullptr},
    {PLUG_UPDATE, TEXT, -1, "token", PLACE(mToken), nullptr},
    {PLUG_ONLINE, ANY, -1, "result", NOWHERE, nullptr},
    {PLUG_VIP, MAC, -1, "mac", PLACE(mMac), nullptr},
    {PLUG_RECOG, MAC, -1, "mac", PLACE(mMac), nullptr},
    {PLUG_RECOG, NUMBER, -1, "result", PLACE(mRecogResult), nullptr},
    {PLUG_RERECOG, MAC, -1, "mac", PLACE(mMac), nullptr},
    {PLUG_FIRMWARE_CHECK, TEXT, 1, "fromVersion", PLACE(upParm.fromVersion), "fromVersion is mismatching."},
    {PLUG_FIRMWARE_CHECK, TEXT, 2, "toVersion", NOWHERE, "toVersion is mismatching."},
    {PLUG_FIRMWARE_UPDATE, TEXT, 1, "fromVersion", NOWHERE, nullptr}, // that of the check stays
    {PLUG_FIRMWARE_UPDATE, TEXT, 2, "toVersion", PLACE(upParm.toVersion), nullptr},
    {PLUG_FIRMWARE_UPDATE, TEXT, 3, "url", PLACE(upParm.url), "url is null."},
    {PLUG_FIRMWARE_UPDATE, NUMBER, 5, "fileLength", PLACE(upParm.fileLength), "fileLength is null."},
    {PLUG_FIRMWARE_UPDATE, NUMBER, 4, "checkMethod", PLACE(upParm.checkMethod), "checkMethod is null."},
    {PLUG_FIRMWARE_UPDATE, TEXT, 7, "chkSum", PLACE(upParm.chkSum), "chkSum is null."},
    {PLUG_FN40_INTERVAL, INTERVAL, -1, "func40Interval", NOWHERE, "func40Interval not found."},
};

static bool TakeText(const Member &member, const char *text)
{
    if (!member.place) {
        LOG_AS(LOG_LEVEL_DEBUG, "ParserPlug", "%s: %s", member.name, text);
        return true;
    }
    const size_t length = strlen(text);
    if (length >= member.size) return false;
    memset(member.place, 0, member.size); // nothing of a longer text before it goes on to anybody
    memcpy(member.place, text, length);
    return true;
}

// Numbers are stored in the router's byte order, which is little-endian.
static bool TakeNumber(const Member &member, double value)
{
    const double end = member.size == 1 ? 256.0 : 4294967296.0;
    if (!(value >= 0 && value < end)) return false;
    const uint32_t number = static_cast<uint32_t>(value);
    if (number != value) return false;
    memcpy(member.place, &number, member.size);
    return true;
}
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "the first bytes of a number are its low ones");

static bool TakeMac(const Member &member, const char *text)
{
    if (strlen(text) != kMacDigits || strspn(text, "0123456789abcdefABCDEF") != kMacDigits) return false;
    uint8_t *mac = static_cast<uint8_t *>(member.place);
    for (size_t i = 0; i < member.size; i++) CharToHex(mac + i, text + 2 * i);
    return true;
}

static bool TakeUrl(const char *url)
{
    UrlParts parts;
    if (strlen(url) > kUrlMax || !SplitUrl(url, &parts)) return false;
    if (parts.hostLength >= sizeof mDownloadServer || parts.portLength > kPortMax) return false;
    mDownloadPort = parts.port ? atoi(parts.port) : kHttpPort; // what is no port fails with the download
    memset(mDownloadServer, 0, sizeof mDownloadServer);
    memcpy(mDownloadServer, parts.host, parts.hostLength);
    memset(mDownloadUrl, 0, sizeof mDownloadUrl);
    memcpy(mDownloadUrl, parts.path, strlen(parts.path));
    LOG_AS(LOG_LEVEL_DEBUG, "ParserPlug", "port %d;mDownloadUrl : %s; mDownloadServer: %s ", mDownloadPort,
           mDownloadUrl, mDownloadServer);
    return true;
}
static_assert(kUrlMax < sizeof mDownloadUrl, "every path fits");

static bool Take(const Member &member, const cJSON *item)
{
    if (member.kind == ANY) return item != nullptr;
    if (member.kind == NUMBER) return cJSON_IsNumber(item) && TakeNumber(member, item->valuedouble);
    if (member.kind == INTERVAL) return cJSON_IsNumber(item); // for its value: SetInterval()
    const char *text = cJSON_GetStringValue(item);
    if (!text) return false;
    return member.kind == MAC ? TakeMac(member, text) : member.kind == URL ? TakeUrl(text) : TakeText(member, text);
}

// The period of the device reports in minutes; 0 turns them off. Returns 0 or -1.
static int SetInterval(double minutes)
{
    const bool inRange = minutes >= 0 && minutes <= kIntervalMax;
    const int whole = inRange ? static_cast<int>(minutes) : 0;
    if (!inRange || whole != minutes) {
        LOG_AS(LOG_LEVEL_ERR, "ParserPlug", "Set subdev auto report error.");
        return -1;
    }
    if (whole == 0) {
        AutoReportDevinfo = 0;
        LOG_AS(LOG_LEVEL_DEBUG, "ParserPlug", "Close subdev auto report.");
        return 0;
    }
    Fn40Interval = whole * kCyclesPerMinute;
    AutoReportDevinfo = 1;
    LOG_AS(LOG_LEVEL_DEBUG, "ParserPlug", "Set subdev auto report %d minute.", whole);
    return 0;
}

static int ReadMembers(uint8_t dataType, const cJSON *document)
{
    for (const Member &member : kMembers) {
        if (member.dataType != dataType) continue;
        const cJSON *item = cJSON_GetObjectItem(document, member.name);
        if (!Take(member, item)) {
            if (member.missing) LOG_AS(LOG_LEVEL_ERR, "ParserPlug", "%s", member.missing);
            return member.code;
        }
        if (member.kind == INTERVAL) return SetInterval(item->valuedouble);
    }
    return 0;
}

int ParserPlug(uint8_t dataType, const char *payload)
{
    cJSON *document = JsonParse(payload);
    if (!document) return -1;
    if (dataType == PLUG_FIRMWARE_CHECK) memset(&upParm, 0, sizeof upParm);
    const int result = ReadMembers(dataType, document);
    cJSON_Delete(document);
    return result;
}

// ---- Commands ----

static int CheckFirmware(const char *payload)
{
    const int code = ParserPlug(PLUG_FIRMWARE_CHECK, payload);
    if (code == 0)
        LOG_AS(LOG_LEVEL_DEBUG, "ParserPlugData", "update firmware cmd ok");
    else
        LOG_AS(LOG_LEVEL_ERR, "ParserPlugData", "update firmware cmd error.");
    // Two of these texts are not those of the update, by a full stop and by a capital letter.
    if (code == 1)
        SendFirmwareAnswer(code, "fromVersion not match");
    else if (code >= 0)
        SendFirmwareAnswer(code, FirmwareText(code));
    else
        SendFirmwareAnswer(kFirmwareUnknown, "unknown error.");
    return code;
}

static int UpdateFirmware(const char *payload)
{
    const int code = ParserPlug(PLUG_FIRMWARE_UPDATE, payload);
    if (code != 0) {
        LOG_AS(LOG_LEVEL_ERR, "ParserPlugData", "update firmware file error.");
        SendFirmwareAnswer(code, FirmwareText(code));
        return -1;
    }
    LOG_AS(LOG_LEVEL_DEBUG, "ParserPlug", "MD5: %s", upParm.chkSum);
    if (CommSendCmd(kFirmware, &upParm, sizeof upParm) != 0) {
        LOG_AS(LOG_LEVEL_ERR, "ParserPlugData", "send update firmware command failed.");
        SendFirmwareAnswer(kFirmwareUnknown, FirmwareText(kFirmwareUnknown));
        return -1;
    }
    LOG_AS(LOG_LEVEL_DEBUG, "ParserPlugData", "send update firmware command success.");
    return 0;
}

static int AnnounceUpdate(const char *payload)
{
    const int result = ParserPlug(PLUG_UPDATE_CMD, payload);
    LOG_AS(LOG_LEVEL_DEBUG, "ParserPlugData", "ParserPlug datatype_update_cmd ret %d", result);
    if (result == 0) LOG_AS(LOG_LEVEL_DEBUG, "ParserPlugData", "update cmd ok");
    return 0;
}

static int ReadNamed(uint8_t dataType, const char *name, const char *payload)
{
    LOG_AS(LOG_LEVEL_DEBUG, "ParserPlugData", "%s", name);
    const int result = ParserPlug(dataType, payload);
    if (dataType == PLUG_RECOG && result == 0)
        LOG_AS(LOG_LEVEL_DEBUG, "ParserPlugData", "devrecog result  : %d", mRecogResult);
    return result;
}

int ParserPlugData(uint8_t dataType, const char *payload)
{
    switch (dataType) {
    case PLUG_UPDATE_CMD: return AnnounceUpdate(payload);
    case PLUG_UPDATE: return PlugUpdate(ParserPlug(dataType, payload) == 0);
    case PLUG_ONLINE: return ReadNamed(dataType, "datatype_online", payload);
    case PLUG_VIP: return ReadNamed(dataType, "datatype_vip", payload);
    case PLUG_RECOG: return ReadNamed(dataType, "datatype_recog", payload);
    case PLUG_RERECOG: return ReadNamed(dataType, "datatype_rerecog", payload);
    case PLUG_ROUTE_SET: LOG_DEBUG("datatype_route_set"); return ParseRouteParam(payload);
    case PLUG_FIRMWARE_CHECK: return CheckFirmware(payload);
    case PLUG_FIRMWARE_UPDATE: return UpdateFirmware(payload);
    case PLUG_FN40_INTERVAL: return ReadNamed(dataType, "datatype_fn40_interval.", payload);
    default: return 0;
    }
}
