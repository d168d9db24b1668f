#define LOG_MODULE "ProtoolSdk"
#include "functions/Ping.h"

#include <arpa/inet.h>
#include <cstdio>
#include <cstring>

#include "core/Common.h"
#include "os/OsClock.h"
#include "os/OsCommand.h"
#include "os/OsProcess.h"
#include "os/OsWait.h"
#include "platform/ServerStop.h"

OsAtomic<int8_t> gPingThreadState;
OsAtomic<uint16_t> gPingState;
char gPingResult[kPingResultSize];
int16_t gPingLen;
OsAtomic<int> pingRes;
pthread_t pingThreadId;

static const size_t kRequestSize = 24; // target 4, not used 16, size 2, count 2
static const size_t kCommandSize = 128;
static const size_t kLineSize = 256;
static const int kMaxCount = 50;
static const int64_t kLinePauseMs = 50;
static const int64_t kEndlessMs = 500 * 1000; // time limit of a ping without a count

static uint8_t s_request[kRequestSize]; // the thread's own: nobody else uses it while gPingThreadState is 1
static OsCommand s_command;
static OsWaiter s_ping; // woken when the thread has finished, when it has to stop, and when the session ends
static bool s_stop;     // asks the thread to end; guarded by s_ping

// ---- The thread ----

// Pauses between two lines. Returns false if the thread has to stop.
static bool Pause()
{
    return !OsWaitFor(&s_ping, kLinePauseMs, [] { return s_stop; });
}

// Collects the command's output until it ends or the room is full. A command with a deadline is killed then, and also
// at its deadline. Returns the length.
static size_t CollectLines(int64_t deadlineMs)
{
    size_t total = 0;
    char line[kLineSize];
    while (Pause() && OsCommandReadLine(&s_command, line, sizeof line, deadlineMs) > 0) {
        if (strstr(line, "ttl") || strstr(line, "TTL")) continue; // a single reply
        const size_t length = strlen(line);
        if (total + length >= kPingResultSize) break;
        memcpy(gPingResult + total, line, length);
        total += length;
    }
    if (OsNowMs() >= deadlineMs) LOG_DEBUG("kill ping");
    if (deadlineMs != OS_FOREVER) OsCommandStop(&s_command); // it may run on without printing
    return total;
}

int PopenParsePing(int size, int count, const char *host)
{
    gPingState = 1;
    memset(gPingResult, 0, sizeof gPingResult);
    if (count > kMaxCount) count = kMaxCount;
    char command[kCommandSize];
    snprintf(command, sizeof command, "ping -s %d -c %d %s", size, count, host);
    LOG_DEBUG("ping --------------%s", command);
    gPingLen = 0;
    if (OsCommandOpen(&s_command, command) != 0) {
        perror("popen failed");
        gPingState = 1;
        return -1;
    }
    const size_t total = CollectLines(count > 0 ? OS_FOREVER : OsNowMs() + kEndlessMs);
    gPingLen = static_cast<int16_t>(total);
    LOG_DEBUG("------------ping len =%d,result = %.*s", gPingLen, static_cast<int>(total), gPingResult);
    gPingState = 0; // from now on the text belongs to the result command
    if (OsCommandClose(&s_command) == 0) return 0;
    perror("pclose failed");
    return -2;
}

// gPingThreadState is already 1, so that a second start cannot come in before the thread runs.
void *PingThread(void *request)
{
    WireReader in = WireRead(request, kRequestSize);
    const uint32_t target = WireGetLe32(&in);
    WireTake(&in, 16);
    const uint16_t size = swapInt16(WireGetLe16(&in));
    const int16_t count = static_cast<int16_t>(swapInt16(WireGetLe16(&in)));
    struct in_addr address;
    char host[INET_ADDRSTRLEN];
    swapNet32(&address, target);
    inet_ntop(AF_INET, &address, host, sizeof host);
    PopenParsePing(size, count, host);

    OsGuard guard(&s_ping);
    gPingThreadState = 0;
    OsWakeAll(&s_ping);
    return nullptr;
}

// ---- The commands ----

static void Join()
{
    pingRes = 0;
    OsThreadJoin(pingThreadId);
}

static bool OnServerStop()
{
    OsGuard guard(&s_ping);
    OsWakeAll(&s_ping);
    return false;
}

// Waits for the end of the ping. Returns false if the session ends first.
static bool AwaitEnd()
{
    static ServerStopCall s_onStop = {OnServerStop, false, nullptr};
    ServerOnStop(&s_onStop);
    OsWaitFor(&s_ping, OS_FOREVER, [] { return gPingThreadState != 1 || ServerRun != 1; });
    return gPingThreadState == 0;
}

void StopPing()
{
    if (pingRes != 1) return;
    {
        OsGuard guard(&s_ping);
        s_stop = true;
        OsWakeAll(&s_ping);
    }
    OsCommandStop(&s_command);
    Join();
}

int PingStart(WireReader *parameters, WireWriter *)
{
    if (gPingThreadState == 1) return 1;
    if (pingRes == 1) Join(); // nobody has fetched its result
    WireGetBytes(parameters, s_request, sizeof s_request);
    {
        OsGuard guard(&s_ping);
        s_stop = false;
    }
    OsCommandReady(&s_command);
    const uint16_t before = gPingState;
    gPingState = 1;
    gPingThreadState = 1;
    const int error = OsThreadStart(&pingThreadId, PingThread, s_request);
    if (error != 0) {
        LOG_DEBUG("Create PingThread Failed: %d", error);
        gPingThreadState = 0;
        gPingState = before;
        return error;
    }
    pingRes = 1;
    return 0;
}

int PingResult(WireReader *, WireWriter *reply)
{
    const uint16_t state = gPingState;
    if (state == 0) {
        WirePutLe16(reply, static_cast<uint16_t>(gPingLen));
        WirePutBytes(reply, gPingResult, static_cast<size_t>(gPingLen));
    }
    // If the session ends meanwhile, the ping goes on: the next session can fetch its result.
    if (pingRes == 1 && AwaitEnd()) Join();
    return state;
}
