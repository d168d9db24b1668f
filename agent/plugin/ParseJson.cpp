#define LOG_MODULE "ParseJson"
#include "plugin/ParseJson.h"

#include <cjson/cJSON.h>
#include <climits>
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "comm/ComRequests.h"
#include "comm/FirmwareAnswer.h"
#include "comm/FuncIdList.h"
#include "core/Common.h"
#include "core/JsonParse.h"
#include "core/MacText.h"
#include "http/Url.h"
#include "platform/Protool.h"
#include "platform/Settings.h"
#include "plugin/PlugParameters.h"
#include "plugin/PlugUpdate.h"
#include "rules/PortForward.h"

static const size_t kMaxUrl = 255;
static const size_t kMaxPort = 7; // characters
static const int kHttpPort = 80;
static const int kMaxInterval = 19;    // minutes
static const int kCyclesPerMinute = 6; // of the device reports
static const int kFirmwareUnknown = 9; // an error without a code of its own

// ---- Members ----

namespace
{
enum Kind : uint8_t {
    PRESENT,  // must be there; its value is not used
    TEXT,     // stored at `place`, cut if necessary, with a terminator; without a place it is only logged
    FIELD,    // stored at `place`, cut if necessary; the field of a record, which it may fill without a terminator
    NUMBER,   // its low bytes are stored at `place`
    MAC,      // stored in mMac
    URL,      // split, its parts stored
    INTERVAL, // of the device reports
};

struct Member {
    uint8_t dataType;
    Kind kind;
    int8_t code; // of the command if the member is missing
    const char *name;
    void *place;
    size_t size;
    const char *missing; // logged if it is missing
};
} // namespace

#define PLACE(variable) &(variable), sizeof(variable)
#define NOWHERE nullptr, 0

// By command, in the order in which they are read.
static const Member kMembers[] = {
    {PLUG_UPDATE_CMD, TEXT, -1, "pluginID", PLACE(mPluginID), nullptr},
    {PLUG_UPDATE_CMD, TEXT, -1, "fromVersion", PLACE(mFromVersion), nullptr},
    {PLUG_UPDATE_CMD, TEXT, -1, "toVersion", PLACE(mToVersion), nullptr},
    {PLUG_UPDATE, URL, -1, "url", NOWHERE, nullptr},
    {PLUG_UPDATE, NUMBER, -1, "fileLength", PLACE(mFileLength), nullptr},
    {PLUG_UPDATE, TEXT, -1, "fileMD5", PLACE(mFileMD5), nullptr},
    {PLUG_UPDATE, TEXT, -1, "token", PLACE(mToken), nullptr},
    {PLUG_ONLINE, PRESENT, -1, "result", NOWHERE, nullptr},
    {PLUG_VIP, MAC, -1, "mac", NOWHERE, nullptr},
    {PLUG_RECOG, MAC, -1, "mac", NOWHERE, nullptr},
    {PLUG_RECOG, NUMBER, -1, "result", PLACE(mRecogResult), nullptr},
    {PLUG_RERECOG, MAC, -1, "mac", NOWHERE, nullptr},
    {PLUG_FIRMWARE_CHECK, FIELD, 1, "fromVersion", PLACE(upParm.fromVersion), "fromVersion is mismatching."},
    {PLUG_FIRMWARE_CHECK, TEXT, 2, "toVersion", NOWHERE, "toVersion is mismatching."},
    {PLUG_FIRMWARE_UPDATE, PRESENT, 1, "fromVersion", NOWHERE, nullptr}, // upParm keeps that of the check
    {PLUG_FIRMWARE_UPDATE, FIELD, 2, "toVersion", PLACE(upParm.toVersion), nullptr},
    {PLUG_FIRMWARE_UPDATE, FIELD, 3, "url", PLACE(upParm.url), "url is null."},
    {PLUG_FIRMWARE_UPDATE, NUMBER, 5, "fileLength", PLACE(upParm.fileLength), "fileLength is null."},
    {PLUG_FIRMWARE_UPDATE, NUMBER, 4, "checkMethod", PLACE(upParm.checkMethod), "checkMethod is null."},
    {PLUG_FIRMWARE_UPDATE, FIELD, 7, "chkSum", PLACE(upParm.chkSum), "chkSum is null."},
    {PLUG_FN40_INTERVAL, INTERVAL, -1, "func40Interval", NOWHERE, "func40Interval not found."},
};

// Empty for a member that is no text.
static const char *TextOf(const cJSON *item)
{
    return item->valuestring ? item->valuestring : "";
}

// The number, limited to 32 bits. 0 for a member that is no number, but 1 for true: so the JSON library stores it.
static uint32_t NumberOf(const cJSON *item)
{
    // The parser's integer ends below 2^31, and so do the negative numbers.
    if (item->valuedouble <= INT_MAX) return static_cast<uint32_t>(item->valueint);
    return item->valuedouble < UINT32_MAX ? static_cast<uint32_t>(item->valuedouble) : UINT32_MAX;
}

static void StoreText(const Member &member, const char *text)
{
    if (!member.place) {
        LOG_AS(LOG_LEVEL_DEBUG, "ParserPlug", "%s: %s", member.name, text);
        return;
    }
    memset(member.place, 0, member.size); // so that no rest of an earlier, longer text is passed on
    memcpy(member.place, text, strnlen(text, member.kind == FIELD ? member.size : member.size - 1));
}

// Numbers are stored in the router's byte order. It is little-endian (RouterSdk.h refuses others): their first bytes are the
// low ones.
static void StoreNumber(const Member &member, uint32_t number)
{
    memcpy(member.place, &number, member.size);
}

static bool TakeUrl(const char *url)
{
    UrlParts parts;
    if (strlen(url) > kMaxUrl || !SplitUrl(url, &parts)) return false;
    if (parts.hostLength >= sizeof mDownloadServer || parts.portLength > kMaxPort) return false;
    mDownloadPort = parts.port ? atoi(parts.port) : kHttpPort; // a wrong port makes the download fail
    memset(mDownloadServer, 0, sizeof mDownloadServer);
    memcpy(mDownloadServer, parts.host, parts.hostLength);
    memset(mDownloadUrl, 0, sizeof mDownloadUrl);
    memcpy(mDownloadUrl, parts.path, strlen(parts.path));
    LOG_AS(LOG_LEVEL_DEBUG, "ParserPlug", "port %d;mDownloadUrl : %s; mDownloadServer: %s ", mDownloadPort,
           mDownloadUrl, mDownloadServer);
    return true;
}
static_assert(kMaxUrl < sizeof mDownloadUrl, "every path fits");

// Sets the interval of the device reports in minutes; 0 turns them off. Returns false if it is refused.
static bool SetInterval(int minutes)
{
    if (minutes < 0 || minutes > kMaxInterval) {
        LOG_AS(LOG_LEVEL_ERR, "ParserPlug", "Set subdev auto report error.");
        return false;
    }
    if (minutes == 0) {
        SetSessionFlag(AutoReportDevinfo, 0);
        LOG_AS(LOG_LEVEL_DEBUG, "ParserPlug", "Close subdev auto report.");
        return true;
    }
    SetSessionFlag(Fn40Interval, minutes * kCyclesPerMinute);
    SetSessionFlag(AutoReportDevinfo, 1);
    LOG_AS(LOG_LEVEL_DEBUG, "ParserPlug", "Set subdev auto report %d minute.", minutes);
    return true;
}

// Stores the member's value. Returns false if it is refused.
static bool Take(const Member &member, const cJSON *item)
{
    switch (member.kind) {
    case PRESENT: return true;
    case TEXT:
    case FIELD: StoreText(member, TextOf(item)); return true;
    case NUMBER: StoreNumber(member, NumberOf(item)); return true;
    case MAC: MacScan(TextOf(item), 0, mMac); return true;
    case URL: return TakeUrl(TextOf(item));
    case INTERVAL: return SetInterval(item->valueint);
    }
    return false;
}

// What is missing in a firmware command is reported to the platform, so it is no error in our log.
static void LogMissing(uint8_t dataType, const char *text)
{
    if (dataType == PLUG_FN40_INTERVAL)
        LOG_AS(LOG_LEVEL_ERR, "ParserPlug", "%s", text);
    else
        LOG_AS(LOG_LEVEL_DEBUG, "ParserPlug", "%s", text);
}

static int ReadMembers(uint8_t dataType, const cJSON *document)
{
    for (const Member &member : kMembers) {
        if (member.dataType != dataType) continue;
        const cJSON *item = cJSON_GetObjectItem(document, member.name);
        if (!item && member.missing) LogMissing(dataType, member.missing);
        if (!item || !Take(member, item)) return member.code;
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
        LOG_AS(LOG_LEVEL_DEBUG, "ParserPlugData", "update firmware cmd error.");
    // Two texts differ from those of the update by a full stop and by a capital letter; platforms expect both forms.
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
        LOG_AS(LOG_LEVEL_DEBUG, "ParserPlugData", "update firmware file error.");
        SendFirmwareAnswer(code, FirmwareText(code));
        return -1;
    }
    LOG_AS(LOG_LEVEL_DEBUG, "ParserPlug", "MD5: %.*s", static_cast<int>(sizeof upParm.chkSum), upParm.chkSum);
    if (CommSendCmd(FUNCID_FIRMWARE_UPDATE, &upParm, sizeof upParm) != 0) {
        LOG_AS(LOG_LEVEL_DEBUG, "ParserPlugData", "send update firmware command failed.");
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
