#define LOG_MODULE "CommServer"
#include "comm/CommServer.h"

#include <cstring>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "comm/AutoReport.h"
#include "comm/CommFrame.h"
#include "comm/CommHandle.h"
#include "comm/CommReports.h"
#include "comm/RingQueue.h"
#include "core/Common.h"
#include "os/OsClock.h"
#include "os/OsMemory.h"
#include "os/OsProcess.h"
#include "os/OsWait.h"
#include "os/Paths.h"
#include "subdev/Function39.h"
#include "subdev/Function40.h"

std::atomic<int> CommRun;
std::atomic<int> InstanceState;
std::atomic<int> InstanceSocket;
std::atomic<int> CommClientReg;

static RingQueue *pCommRQ; // main thread; the instance and handler threads use what it points to

static OsWaiter s_state; // guards InsPID and s_listener; woken when CommRun is cleared or InstanceState becomes 1
static pthread_t InsPID; // of the instance while InstanceState is 1
static int s_listener;   // 0 when closed
static pthread_t CommHandlePID;
static pthread_t CommServerPID;
static pthread_t CommReleasePID;
static int s_started; // threads that CommServerStop() has to join, in the order of their start; main thread

static pthread_mutex_t commLock = PTHREAD_MUTEX_INITIALIZER; // around each read and the pushes that it brings
static pthread_mutex_t s_socketLock =
    PTHREAD_MUTEX_INITIALIZER;       // around each use of InstanceSocket, its close included
static uint8_t rxbuf[kCommSlotSize]; // instance thread, under commLock
static size_t s_kept;                // bytes in it that wait for the rest of their frame

static const int kBacklog = 3;
static const int kFailuresToEnd = 6; // in a row without bytes between them, of waits or of reads
static const int64_t kRefusalPauseMs = 5000;
static const int64_t kReaperPauseMs = 1000;

// ---- Sending ----

int32_t CommServerSend(const uint8_t *buffer, uint32_t length)
{
    OsGuard guard(&s_socketLock);
    if (InstanceSocket < 1) return -1;
    const ssize_t count = send(InstanceSocket, buffer, length, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (count < 0) {
        LOG_ERR("please reconnect server");
        return -1;
    }
    if (count == 0)
        LOG_ERR("send count is 0");
    else
        LOG_DEBUG("send success");
    return static_cast<int32_t>(count);
}

bool CommWaitForStop(int64_t milliseconds)
{
    const int64_t deadline = OsNowMs() + milliseconds;
    OsGuard guard(&s_state);
    while (CommRun == 1 && OsWaitUntil(&s_state, deadline)) {
    }
    return CommRun != 1;
}

// ---- The instance ----

static void Push(const uint8_t *data, size_t length)
{
    const int32_t error = RingQueue_Push(pCommRQ, data, static_cast<int32_t>(length));
    if (error != RING_OK)
        LOG_AS(LOG_LEVEL_ERR, "ServerThread", "reveive data err=%d", error);
    else
        CommHandleWake();
}

// Queues what is in rxbuf, frame by frame, and keeps the beginning of one whose rest is still to come.
static void PushFrames(size_t filled)
{
    size_t at = 0;
    bool further = s_kept > 0;
    while (at < filled) {
        const size_t length = CommFrameCut(rxbuf + at, filled - at, further);
        if (length == 0) break;
        Push(rxbuf + at, length);
        at += length;
        further = true;
    }
    s_kept = filled - at;
    memmove(rxbuf, rxbuf + at, s_kept);
}

// What an instance has met since bytes last came.
struct InstanceTroubles {
    int waits;
    int reads;
};

// One read of the ready socket. Returns false when the instance is to end.
static bool ReadOnce(int fd, InstanceTroubles *troubles)
{
    OsGuard guard(&commLock);
    const ssize_t count = recv(fd, rxbuf + s_kept, kCommReadMax - s_kept, MSG_DONTWAIT);
    if (count == 0) {
        LOG_AS(LOG_LEVEL_ERR, "ServerThread", "Close link.");
        return false;
    }
    if (count < 0) {
        if (++troubles->reads < kFailuresToEnd) return true;
        LOG_AS(LOG_LEVEL_ERR, "ServerThread", "Close link err.");
        return false;
    }
    PushFrames(s_kept + static_cast<size_t>(count));
    *troubles = {};
    return true;
}

// Waits for bytes and takes them. Returns false when the instance is to end.
static bool InstanceStep(int fd, InstanceTroubles *troubles)
{
    const OsReadable ready = fd < 0 ? OS_OTHER_EVENT : OsWaitReadable(fd, -1); // no descriptor is never ready
    if (CommRun != 1) return false;
    switch (ready) {
    case OS_READABLE: return ReadOnce(fd, troubles);
    case OS_TIMED_OUT: return true;
    case OS_OTHER_EVENT: LOG_AS(LOG_LEVEL_ERR, "ServerThread", "net err."); return false;
    case OS_WAIT_FAILED: break;
    }
    if (++troubles->waits < kFailuresToEnd) return true;
    LOG_AS(LOG_LEVEL_ERR, "ServerThread", "Error. socket err.");
    return false;
}

static void CloseInstance(int fd)
{
    OsGuard guard(&s_socketLock);
    if (fd >= 0) close(fd);
    InstanceSocket = 0;
}

static void *ServerThread(void *descriptor)
{
    const int fd = static_cast<int>(reinterpret_cast<intptr_t>(descriptor));
    LOG_DEBUG("create a instance...");
    int on = 1;
    if (fd >= 0) ioctl(fd, FIONBIO, &on);
    {
        OsGuard guard(&s_socketLock);
        InstanceSocket = fd;
    }
    s_kept = 0;
    InstanceTroubles troubles = {};
    while (CommRun == 1 && InstanceStep(fd, &troubles)) {
    }
    CloseInstance(fd);
    LOG_DEBUG("Close instance.");
    return nullptr;
}

// ---- The reaper ----

// Waits until there is an instance to join. Returns false when the server ends first.
static bool AwaitInstance()
{
    OsGuard guard(&s_state);
    while (CommRun == 1 && InstanceState != 1) OsWaitUntil(&s_state, OS_FOREVER);
    return InstanceState == 1;
}

// Joins the instance, which takes as long as it lives.
static void Reap()
{
    pthread_t instance;
    {
        OsGuard guard(&s_state);
        instance = InsPID;
    }
    OsThreadJoin(instance);
    InstanceState = 0;
    LOG_AS(LOG_LEVEL_DEBUG, "CommReleaseProc", "release ok");
}

// The pause bounds what a peer that comes and goes, or an accept that keeps failing, can cost.
static void *CommReleaseProc(void *)
{
    while (AwaitInstance()) {
        Reap();
        CommWaitForStop(kReaperPauseMs);
    }
    return nullptr;
}

// ---- The accept thread ----

// Binds `fd` to the socket's path and listens. Returns nullptr, or what to log.
static const char *Listen(int fd)
{
    struct sockaddr_un here = {};
    const size_t length = strlen(kPathCommServer); // without a terminator: this is the address that peers know
    if (length > sizeof here.sun_path) return "bind failed";
    here.sun_family = AF_UNIX;
    memcpy(here.sun_path, kPathCommServer, length);
    unlink(kPathCommServer); // whatever stands there, a link is not followed
    const socklen_t size = static_cast<socklen_t>(offsetof(struct sockaddr_un, sun_path) + length);
    if (bind(fd, reinterpret_cast<struct sockaddr *>(&here), size) != 0) return "bind failed";
    if (listen(fd, kBacklog) != 0) return "listen failed";
    return nullptr;
}

// Opens the listening socket. Returns false, with a log line, when that fails.
static bool OpenListener()
{
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const char *failure = fd < 0 ? "Create socket failed" : Listen(fd);
    if (failure) {
        LOG_AS(LOG_LEVEL_ERR, "CommServerProc", "%s", failure);
        if (fd >= 0) close(fd);
        return false;
    }
    OsGuard guard(&s_state);
    s_listener = fd;
    return true;
}

static void CloseListener()
{
    OsGuard guard(&s_state);
    unlink(kPathCommServer);
    close(s_listener);
    s_listener = 0;
}

static void StartInstance(int fd)
{
    OsGuard guard(&s_state);
    if (OsThreadStart(&InsPID, ServerThread, reinterpret_cast<void *>(static_cast<intptr_t>(fd))) != 0) {
        LOG_AS(LOG_LEVEL_ERR, "CommServerProc", "create instance err.");
        if (fd >= 0) close(fd);
        return;
    }
    InstanceState = 1;
    CommClientReg = 1;
    OsWakeAll(&s_state);
}

static void AcceptOnce()
{
    const int fd = accept4(s_listener, nullptr, nullptr, SOCK_CLOEXEC); // the stop shuts the listener down
    if (CommRun != 1) {
        if (fd >= 0) close(fd);
        return;
    }
    // One that failed goes the way of any other: its instance ends at once, and the pauses keep this from spinning.
    if (fd < 0) LOG_AS(LOG_LEVEL_ERR, "CommServerProc", "accept err");
    if (InstanceState == 1) {
        if (fd >= 0) close(fd);
        LOG_AS(LOG_LEVEL_ERR, "CommServerProc", "link quntity is large.");
        CommWaitForStop(kRefusalPauseMs);
        return;
    }
    StartInstance(fd);
    Fn39ClientCame();
    Fn40ClientCame();
}

static void *CommServerProc(void *)
{
    if (!OpenListener()) return nullptr;
    InstanceState = 0;
    while (CommRun == 1) AcceptOnce();
    CloseListener();
    return nullptr;
}

// ---- Start and stop ----

static int NewQueue()
{
    pCommRQ = static_cast<RingQueue *>(OsAllocate(sizeof(RingQueue)));
    if (!pCommRQ) {
        LOG_AS(LOG_LEVEL_ERR, "CommServerStart", "Malloc CommRQ failed.");
        return -1;
    }
    if (RingQueue_Init(pCommRQ, kCommSlots, kCommSlotSize) == 0) return 0;
    OsFree(pCommRQ);
    pCommRQ = nullptr;
    LOG_AS(LOG_LEVEL_ERR, "CommServerStart", "Queue Init error");
    return -1;
}

static void Reset()
{
    InstanceState = InstanceSocket = 0;
    CommTxSeq = CommRxSeq = 0;
    CommClientReg = CommReceived = 0;
    CommReportsReset();
    intervalFlag1 = intervalFlag2 = intervalFlag3 = -1;
    s_started = 0;
    CommRun = 1;
}

int CommServerStart()
{
    static const struct {
        pthread_t *thread;
        void *(*body)(void *);
        const char *failure;
    } kThreads[] = {
        {&CommHandlePID, CommHandleProc, "Create CommServerProc failed."}, // the same text for both
        {&CommServerPID, CommServerProc, "Create CommServerProc failed."},
        {&CommReleasePID, CommReleaseProc, "Create CommReleaseProc failed."},
    };
    Reset();
    if (NewQueue() != 0) return -1;
    OsRemoveAtEnd(kPathCommServer);
    for (const auto &entry : kThreads) {
        if (OsThreadStart(entry.thread, entry.body, pCommRQ) != 0) {
            LOG_ERR("%s", entry.failure);
            return -1;
        }
        s_started++;
    }
    return 0;
}

// Clears the run flag and wakes every wait of the server's threads.
static void StopThreads()
{
    {
        OsGuard guard(&s_state);
        CommRun = 0;
        if (s_listener > 0) shutdown(s_listener, SHUT_RD);
        OsWakeAll(&s_state);
    }
    CommHandleWake();
    {
        OsGuard guard(&s_socketLock);
        if (InstanceSocket > 0) shutdown(InstanceSocket, SHUT_RD);
    }
    OsGuard guard(&gCommAnswer);
    OsWakeAll(&gCommAnswer);
}

void CommServerStop()
{
    StopThreads();
    pthread_t *const threads[] = {&CommHandlePID, &CommServerPID, &CommReleasePID};
    for (int i = 0; i < s_started; i++) OsThreadJoin(*threads[i]);
    s_started = 0;
    if (InstanceState == 1) Reap(); // it came when the reaper had gone already, or there was none
    RingQueue_Destroy(pCommRQ);
    OsFree(pCommRQ);
    pCommRQ = nullptr;
}
