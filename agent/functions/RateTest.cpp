#define LOG_MODULE "ProtoolSdk"
#include "functions/RateTest.h"

#include <cjson/cJSON.h>
#include <cstdlib>
#include <cstring>

#include "core/Common.h"
#include "core/JsonParse.h"
#include "http/Download.h"
#include "http/HttpSocket.h"
#include "http/Url.h"
#include "os/OsProcess.h"
#include "os/OsWait.h"
#include "os/Paths.h"
#include "platform/Protool.h"
#include "platform/Sending.h"

OsAtomic<int8_t> gRateThreadState;
OsAtomic<int> rateRes;
pthread_t rateThreadId;

static const int kDefaultPort = 8199;
static const char kDefaultPath[] = "/download/300.data";
static const int kHttpPort = 80;
static const int kMaxPort = 65535;
static const uint16_t kRateFunction = 62; // function ID and data type of the result's record
static const size_t kRecordSize = 10;
static const int kConfigTextMin = 2;
static const int64_t kAfterJoinMs = 20;
static const int64_t kStopAgainMs = 20;

static char s_url[kMaxConfigText + 1]; // the thread's own: nobody else uses it while gRateThreadState is 1
static RateTarget s_target;            // rate-test thread only; too large for its stack

// ---- The test ----

static void SendRate()
{
    const int rate = gDownRate;
    uint8_t record[kRecordSize];
    WireWriter out = WireWrite(record, sizeof record);
    WirePutLe16(&out, 0); // tag 0: it answers no request
    WirePutLe16(&out, swapInt16(kRateFunction));
    WirePutLe16(&out, swapInt16(rate == -1 ? 1 : 0));
    WirePutLe32(&out, swapInt32(static_cast<uint32_t>(rate)));
    SendIpAckData(0, record, sizeof record, kRateFunction, 1, gRoutemac);
}

static void RunTest(const char *function, const char *host, int port, const char *path)
{
    const int result = DownTestRateFIle(host, port, path, kPathRateTest);
    LOG_AS(LOG_LEVEL_DEBUG, function, "route rate --------------- %d", gDownRate.load());
    SendRate();
    LOG_AS(LOG_LEVEL_DEBUG, function, "route rate up ret %d", result);
}

// gRateThreadState is already 1, so that a second start cannot come in before the thread runs.
void *RateTestThread(void *)
{
    RunTest(__func__, PLUG_RATE_TEST_SERVER, kDefaultPort, kDefaultPath);
    gRateThreadState = 0;
    return nullptr;
}

void *RateTestProc(void *url)
{
    if (SplitRateUrl(static_cast<const char *>(url), &s_target))
        RunTest(__func__, s_target.host, s_target.port, s_target.path);
    gRateThreadState = 0;
    return nullptr;
}

// ---- The URL ----

// Returns 0, a port on which nobody listens, if the text is no port.
static int PortOf(const char *text, size_t length)
{
    if (strspn(text, "0123456789") < length) return 0;
    char digits[kMaxRatePort + 1] = {};
    memcpy(digits, text, length);
    const int port = atoi(digits);
    return port <= kMaxPort ? port : 0;
}

bool SplitRateUrl(const char *url, RateTarget *target)
{
    memset(target, 0, sizeof *target);
    UrlParts parts;
    if (!SplitUrl(url, &parts) || strlen(parts.path) > kMaxConfigText) return false;
    if (parts.port) LOG_AS(LOG_LEVEL_DEBUG, "RateTestProc", "port length: %d", static_cast<int>(parts.portLength));
    if (parts.portLength > kMaxRatePort) return false;
    target->port = parts.port ? PortOf(parts.port, parts.portLength) : kHttpPort;
    LOG_AS(LOG_LEVEL_DEBUG, "RateTestProc", "server len  %d", static_cast<int>(parts.hostLength));
    if (parts.hostLength < kRateHostMin || parts.hostLength > kMaxRateHost) return false;
    memcpy(target->host, parts.host, parts.hostLength);
    memcpy(target->path, parts.path, strlen(parts.path));
    LOG_AS(LOG_LEVEL_DEBUG, "RateTestProc", "serverName: %s, port: %d, url: %s", target->host, target->port,
           target->path);
    return true;
}

// ---- The commands ----

static void Join()
{
    rateRes = 0;
    OsThreadJoin(rateThreadId);
}

// Starts a test unless one runs. `url`: nullptr for the built-in server.
static void Start(const char *url)
{
    if (gRateThreadState == 1) {
        LOG_AS(LOG_LEVEL_ERR, url ? "ParseConfigData" : "ParserProtoolData", "Please wait last finish.");
        return;
    }
    if (rateRes == 1) {
        Join();
        OsSleepMs(kAfterJoinMs);
    }
    if (url) {
        memset(s_url, 0, sizeof s_url);
        memcpy(s_url, url, strnlen(url, kMaxConfigText));
    }
    gRateThreadState = 1;
    if (OsThreadStart(&rateThreadId, url ? RateTestProc : RateTestThread, url ? s_url : nullptr) != 0) {
        LOG_AS(LOG_LEVEL_ERR, url ? "ParseConfigData" : "ParserProtoolData", "Create RateTestThread Failed.");
        gRateThreadState = 0;
        return;
    }
    rateRes = 1;
}

void StopRateTest()
{
    if (rateRes != 1) return;
    // Repeated, because the test may be just about to begin its download.
    while (gRateThreadState == 1) {
        HttpLetGo();
        OsSleepMs(kStopAgainMs);
    }
    Join();
}

int RateTestStart(WireReader *, WireWriter *reply)
{
    Start(nullptr);
    WirePutZeros(reply, 12);
    return 0;
}

int ParseConfigData(const char *text, int length)
{
    if (!text || length < kConfigTextMin || length > static_cast<int>(kMaxConfigText)) return 1;
    char copy[kMaxConfigText + 1];
    memcpy(copy, text, static_cast<size_t>(length));
    copy[length] = '\0';
    LOG_DEBUG("ConfigData: %s", copy);
    cJSON *root = JsonParse(copy);
    if (!root) return 1;
    const char *url = cJSON_GetStringValue(cJSON_GetObjectItem(root, "value_func61"));
    const bool found = url != nullptr;
    if (found) {
        LOG_DEBUG("func61 address: %s", url);
        Start(url);
    }
    cJSON_Delete(root);
    return found ? 0 : 1;
}
