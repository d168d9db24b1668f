#define LOG_MODULE "ProtoolSdk"
#include "functions/Traceroute.h"

#include <arpa/inet.h>
#include <cstdio>
#include <unistd.h>

#include "core/Common.h"
#include "os/OsCommand.h"
#include "os/OsFile.h"
#include "os/OsProcess.h"
#include "os/OsWait.h"
#include "os/Paths.h"

OsAtomic<int8_t> gTraceThreadState;
OsAtomic<int> traceRes;
pthread_t traceThreadId;
OsAtomic<int> killRun;
pthread_t killTraceId;
char gTracertResult[kTracertResultSize];
uint16_t gTracertLen;

static const size_t kRequestSize = 4; // the target
static const size_t kCommandSize = 128;
static const int64_t kWatchMs = 500 * 1000;
static const char kKillAll[] = "killall -9 traceroute";

static uint8_t s_request[kRequestSize]; // the thread's own: nobody else uses it while gTraceThreadState is 1
static OsCommand s_command;
static OsWaiter s_watch; // woken when killRun is cleared

// ---- The threads ----

static void RunTraceroute(const char *host)
{
    char command[kCommandSize];
    const int length = snprintf(command, sizeof command, "traceroute -n %s", host);
    if (length < 0 || static_cast<size_t>(length) >= sizeof command) return;
    const int file = OsOpenForWriting(kPathTraceroute);
    if (file < 0) {
        LOG_ERR("can't open %s", kPathTraceroute);
        return;
    }
    OsCommandRunInto(&s_command, command, file);
    close(file);
}

// gTraceThreadState is already 1, so that a second start cannot come in before the thread runs.
void *TracerouteThread(void *request)
{
    WireReader in = WireRead(request, kRequestSize);
    struct in_addr address;
    char host[INET_ADDRSTRLEN];
    swapNet32(&address, WireGetLe32(&in));
    inet_ntop(AF_INET, &address, host, sizeof host);
    RunTraceroute(host);
    gTraceThreadState = 0;
    return nullptr;
}

// Kills the traceroute by its name, then what we have started: it may have another name, or not have started it yet.
static void Kill()
{
    OsRun(kKillAll);
    OsCommandStop(&s_command);
}

void *KillTrace500s(void *)
{
    if (!OsWaitFor(&s_watch, kWatchMs, [] { return killRun != 1; })) {
        Kill();
        LOG_DEBUG("kill traceroute");
    }
    LOG_DEBUG("Exit killTrace");
    return nullptr;
}

// ---- The commands ----

static void JoinWatcher()
{
    if (killRun != 1) return;
    {
        OsGuard guard(&s_watch);
        killRun = 0;
        OsWakeAll(&s_watch);
    }
    OsThreadJoin(killTraceId);
}

static void Join()
{
    traceRes = 0;
    JoinWatcher();
    OsThreadJoin(traceThreadId);
}

void StopTraceroute()
{
    if (traceRes != 1) return;
    Kill();
    Join();
}

int TracerouteStart(WireReader *parameters, WireWriter *)
{
    if (gTraceThreadState == 1) return 1;
    if (traceRes == 1) Join(); // nobody has fetched its result
    WireGetBytes(parameters, s_request, sizeof s_request);
    OsCommandReady(&s_command);

    // The watcher first, so that it sees the whole traceroute. Without a watcher the result command ends it.
    killRun = 1;
    int error = OsThreadStart(&killTraceId, KillTrace500s, nullptr);
    if (error != 0) {
        LOG_DEBUG("Create KillTrace500s Failed: %d", error);
        killRun = 0;
    }
    gTraceThreadState = 1;
    error = OsThreadStart(&traceThreadId, TracerouteThread, s_request);
    if (error != 0) {
        LOG_DEBUG("Create TracerouteThread Failed: %d", error);
        gTraceThreadState = 0;
        JoinWatcher();
        return error;
    }
    traceRes = 1;
    return 0;
}

// Returns false if the file does not exist or is not ours.
static bool ReadFile()
{
    const int fd = OsOpenOurs(kPathTraceroute);
    if (fd < 0) return false;
    gTracertLen = static_cast<uint16_t>(OsReadUpTo(fd, gTracertResult, sizeof gTracertResult - 1));
    close(fd);
    return true;
}

int TracerouteResult(WireReader *, WireWriter *reply)
{
    StopTraceroute();
    if (!ReadFile()) return 1;
    WirePutLe16(reply, gTracertLen);
    WirePutBytes(reply, gTracertResult, gTracertLen);
    return 0;
}
