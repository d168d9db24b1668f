// Any text as a plugin command: no text exceeds its field, a good result means that all required members are there, and
// the agent's report is one JSON object with the result.
//
// Input: data type (1 byte; its low 5 bits), length of the previous command's text (2 bytes), that text, then the text.
// The previous command is of the type that comes before: an announcement before an update, a check before a firmware
// update.
#include <cjson/cJSON.h>
#include <cstring>

#include "FuzzOs.h"
#include "core/Common.h"
#include "core/JsonParse.h"
#include "platform/ServerStop.h"
#include "platform/Settings.h"
#include "plugin/BuildJson.h"
#include "plugin/ParseJson.h"
#include "plugin/PlugParameters.h"

// The bytes behind the end of a text in a record are zero.
static void RequireField(const char *text, size_t size)
{
    for (size_t i = strnlen(text, size); i < size; i++) REQUIRE(text[i] == '\0');
}

// A text of the agent itself ends within its field, too.
static void RequireText(const char *text, size_t size)
{
    REQUIRE(strnlen(text, size) < size);
    RequireField(text, size);
}

static void RequireFields()
{
    RequireText(mPluginID, sizeof mPluginID);
    RequireText(mFromVersion, sizeof mFromVersion);
    RequireText(mToVersion, sizeof mToVersion);
    RequireText(mDownloadServer, sizeof mDownloadServer);
    RequireText(mDownloadUrl, sizeof mDownloadUrl);
    RequireText(mFileMD5, sizeof mFileMD5);
    RequireText(mToken, sizeof mToken);
    RequireField(upParm.fromVersion, sizeof upParm.fromVersion);
    RequireField(upParm.toVersion, sizeof upParm.toVersion);
    RequireField(upParm.url, sizeof upParm.url);
    RequireField(upParm.chkSum, sizeof upParm.chkSum);
    REQUIRE(mDownloadUrl[0] == '\0' || mDownloadUrl[0] == '/');
    REQUIRE(Fn40Interval >= 6 && Fn40Interval <= 114 && Fn40Interval % 6 == 0);
    REQUIRE(AutoReportDevinfo == 0 || AutoReportDevinfo == 1);
    REQUIRE(mProcess == 0);
}

static void RequireResult(uint8_t dataType, const std::string &text, int result)
{
    cJSON *document = JsonParse(text.c_str());
    if (!document) REQUIRE(result == -1);
    const auto has = [&](const char *name) { return cJSON_GetObjectItem(document, name) != nullptr; };
    // Whether the field of `size` bytes has the part of the member's text that fits.
    const auto is = [&](const char *name, const char *field, size_t size, bool terminated) {
        const char *there = cJSON_GetStringValue(cJSON_GetObjectItem(document, name));
        return has(name) && strncmp(there ? there : "", field, size - terminated) == 0;
    };
#define IS(name, text) is(name, text, sizeof(text), true)
#define IS_FIELD(name, field) is(name, field, sizeof(field), false)
    if (dataType == PLUG_ONLINE && document) REQUIRE((result == 0) == has("result"));
    if ((dataType == PLUG_VIP || dataType == PLUG_RERECOG) && document) REQUIRE((result == 0) == has("mac"));
    if (dataType == PLUG_RECOG && document) REQUIRE((result == 0) == (has("mac") && has("result")));
    if (dataType == PLUG_UPDATE_CMD && document) {
        REQUIRE((result == 0) == (has("pluginID") && has("fromVersion") && has("toVersion")));
        if (result == 0)
            REQUIRE(IS("pluginID", mPluginID) && IS("fromVersion", mFromVersion) && IS("toVersion", mToVersion));
    }
    if (dataType == PLUG_UPDATE && result == 0)
        REQUIRE(has("fileLength") && IS("fileMD5", mFileMD5) && IS("token", mToken));
    if (dataType == PLUG_FIRMWARE_UPDATE) {
        const int codes[] = {-1, 0, 1, 2, 3, 4, 5, 7};
        bool known = false;
        for (const int code : codes) known = known || code == result;
        REQUIRE(known);
        if (result == 0)
            REQUIRE(IS_FIELD("toVersion", upParm.toVersion) && IS_FIELD("url", upParm.url) &&
                    IS_FIELD("chkSum", upParm.chkSum));
    } else {
        REQUIRE(result >= -1 && result <= (dataType == PLUG_FIRMWARE_CHECK ? 2 : 0));
    }
    cJSON_Delete(document);
}

static void RequireReport()
{
    char report[2048];
    REQUIRE(BuildJson(JSON_UPDATE, -1, "", nullptr, report, sizeof report) == 0);
    cJSON *document = cJSON_ParseWithOpts(report, nullptr, true);
    REQUIRE(document != nullptr && cJSON_GetArraySize(document) == 6);
    REQUIRE(strcmp(cJSON_GetStringValue(cJSON_GetObjectItem(document, "pluginID")), mPluginID) == 0);
    REQUIRE(strcmp(cJSON_GetStringValue(cJSON_GetObjectItem(document, "toVersion")), mToVersion) == 0);
    cJSON_Delete(document);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzOsReset();
    d_set_log_level(LOG_LEVEL_NONE);
    REQUIRE(ServerRun == 0); // no session: an update ends before it looks a host up
    Fn40Interval = 6;
    AutoReportDevinfo = 1;
    FuzzInput input = {data, size};
    const uint8_t dataType = input.Byte() & 31;
    size_t before = input.Word();
    const uint8_t *first = input.Bytes(&before);
    const std::string previous(reinterpret_cast<const char *>(first), before);
    const std::string text(reinterpret_cast<const char *>(input.data), input.left);

    static_cast<void>( // only for what it leaves in the fields
        ParserPlug(dataType == PLUG_FIRMWARE_UPDATE ? PLUG_FIRMWARE_CHECK : PLUG_UPDATE_CMD, previous.c_str()));
    RequireFields();
    RequireResult(dataType, text, ParserPlug(dataType, text.c_str()));
    RequireFields();
    RequireReport();
    if (dataType != PLUG_ROUTE_SET) {
        const int code = ParserPlugData(dataType, text.c_str());
        REQUIRE(code >= -1 && code <= 2);
        REQUIRE(g_world.commands.empty());
        REQUIRE(g_world.status == (dataType == PLUG_UPDATE ? "104\n" : ""));
        RequireFields();
    }
    return 0;
}
