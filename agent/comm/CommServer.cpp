#define LOG_MODULE "CommServer"
#include "comm/CommServer.h"

#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <initializer_list>
#include <sys/socket.h>
#include <unistd.h>

#include "comm/AutoReport.h"
#include "comm/CommAnswer.h"
#include "comm/CommFrame.h"
#include "comm/CommHandle.h"
#include "comm/CommLink.h"
#include "comm/CommListener.h"
#include "comm/CommReports.h"
#include "comm/RingQueue.h"
#include "core/Common.h"
#include "core/LocalPeer.h"
#include "os/OsClock.h"
#include "os/OsMemory.h"
#include "os/OsProcess.h"
#include "os/OsWait.h"

static RingQueue *pCommRQ; // set by the main thread; the instance and handler threads use the queue

static pthread_t InsPID; // of the instance while InstanceState is 1; guarded by gCommLink, as is the next
static int s_listener;   // 0 when closed
static pthread_t CommHandlePID;
static pthread_t CommServerPID;
static pthread_t CommReleasePID;
static int s_started; // how many threads CommServerStop() has to join, in the order of their start; main thread

static pthread_mutex_t commLock = PTHREAD_MUTEX_INITIALIZER; // around each read and its pushes
static uint8_t rxbuf[kCommSlotSize];                         // instance thread, under commLock; so are the next two
static uint8_t s_cut[kMaxCommFrame];                         // the cut-off frame at the end of the last read
static size_t s_cutSize;                                     // bytes of it; 0: the last frame was whole

static const int kFailuresToEnd = 6; // failed waits, or failed reads, in a row without bytes between them
static const int64_t kRefusalPauseMs = 5000;
static const int64_t kReaperPauseMs = 1000;
static const int64_t kListenerRetryMs = 5000;

// ---- The instance ----

static void Push(const uint8_t *data, size_t length)
{
    const int32_t error = RingQueue_Push(pCommRQ, data, static_cast<int32_t>(length));
    if (error != RING_OK)
        LOG_AS(LOG_LEVEL_ERR, "ServerThread", "reveive data err=%d", error);
    else
        CommHandleWake();
}

// Queues the bytes of a read frame by frame; `further` says that a frame came before them. A last frame that is cut off
// is kept for the next read if `keep` is set, otherwise queued like the others.
static void PushFrames(const uint8_t *data, size_t length, bool further, bool keep)
{
    while (length > 0) {
        size_t size = CommFrameCut(data, length, further);
        if (size == 0 && keep) {
            memcpy(s_cut, data, length);
            s_cutSize = length;
            return;
        }
        if (size == 0) size = length;
        Push(data, size);
        data += size;
        length -= size;
        further = true;
    }
}

// Queues the `length` bytes in rxbuf. They complete the frame that the last read left cut off, or that is queued as it
// is: a frame without an end must not swallow the frames that follow.
static void TakeRead(size_t length)
{
    const size_t cut = s_cutSize;
    s_cutSize = 0;
    if (cut == 0) {
        PushFrames(rxbuf, length, false, true);
        return;
    }
    const size_t added = std::min(length, sizeof s_cut - cut);
    memcpy(s_cut + cut, rxbuf, added);
    const size_t rest = CommFrameRest(s_cut, cut, cut + added);
    Push(s_cut, cut + rest);
    PushFrames(rxbuf + rest, length - rest, rest > 0, rest > 0);
}

// Failures of an instance since bytes last came.
struct InstanceTroubles {
    int waits;
    int reads;
};

// Reads the ready socket once. Returns false when the instance has to end.
static bool ReadOnce(int fd, InstanceTroubles *troubles)
{
    OsGuard guard(&commLock);
    const ssize_t count = recv(fd, rxbuf, kMaxCommRead, MSG_DONTWAIT);
    if (count == 0) {
        LOG_AS(LOG_LEVEL_ERR, "ServerThread", "Close link.");
        return false;
    }
    if (count < 0) {
        if (++troubles->reads < kFailuresToEnd) return true;
        LOG_AS(LOG_LEVEL_ERR, "ServerThread", "Close link err.");
        return false;
    }
    TakeRead(static_cast<size_t>(count));
    *troubles = {};
    return true;
}

// Waits for bytes and queues them. Returns false when the instance has to end.
static bool InstanceStep(int fd, InstanceTroubles *troubles)
{
    const OsReadable ready = fd < 0 ? OS_OTHER_EVENT : OsWaitReadable(fd, -1); // without a descriptor
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

static void *ServerThread(void *descriptor)
{
    const int fd = static_cast<int>(reinterpret_cast<intptr_t>(descriptor));
    LOG_DEBUG("create a instance...");
    if (fd >= 0) fcntl(fd, F_SETFL, O_NONBLOCK);
    s_cutSize = 0;
    InstanceTroubles troubles = {};
    while (CommRun == 1 && InstanceStep(fd, &troubles)) {
    }
    CommLinkClose(fd);
    LOG_DEBUG("Close instance.");
    return nullptr;
}

// ---- The reaper ----

// Waits until there is an instance to join. Returns false when the server ends first.
static bool AwaitInstance()
{
    OsWaitFor(&gCommLink, OS_FOREVER, [] { return CommRun != 1 || InstanceState == 1; });
    return InstanceState == 1;
}

// Joins the instance; waits until it ends.
static void Reap()
{
    pthread_t instance;
    {
        OsGuard guard(&gCommLink);
        instance = InsPID;
    }
    OsThreadJoin(instance);
    {
        OsGuard guard(&gCommLink);
        InstanceState = 0;
        OsWakeAll(&gCommLink);
    }
    LOG_AS(LOG_LEVEL_DEBUG, "CommReleaseProc", "release ok");
}

// The pause limits the load of a peer that connects again and again, or of an accept that keeps failing.
static void *CommReleaseProc(void *)
{
    while (AwaitInstance()) {
        Reap();
        CommWaitForStop(kReaperPauseMs);
    }
    return nullptr;
}

// ---- The accept thread ----

// Opens the listener; tries again until it succeeds. Returns false when the server ends first. Another agent at the
// socket is fatal: the two would take the peer, the files and the rules from each other.
static bool OpenListener()
{
    int fd;
    while ((fd = CommListen()) < 0) {
        if (fd == kCommListenTaken) LOG_FATAL("CommServerProc", "another agent has the socket");
        if (CommWaitForStop(kListenerRetryMs)) return false;
    }
    OsGuard guard(&gCommLink);
    s_listener = fd;
    return true;
}

static void CloseListener()
{
    OsGuard guard(&gCommLink);
    CommListenEnd(s_listener);
    s_listener = 0;
}

static bool MakeInstance(int fd)
{
    {
        OsGuard guard(&gCommLink);
        void *const descriptor = reinterpret_cast<void *>(static_cast<intptr_t>(fd));
        if (OsThreadStart(&InsPID, ServerThread, descriptor) != 0) return false;
    }
    LocalPeerCame(); // with no other lock held
    OsGuard guard(&gCommLink);
    InstanceState = 1;
    OsWakeAll(&gCommLink);
    return true;
}

static void StartInstance(int fd)
{
    CommLinkOpen(fd); // before the instance runs: 0 then always means that the instance has closed it
    if (MakeInstance(fd)) return;
    LOG_AS(LOG_LEVEL_ERR, "CommServerProc", "create instance err.");
    CommLinkClose(fd);
}

// Waits until the instance of a peer that has gone is reaped. Returns false when a peer is connected or the server
// ends.
static bool AwaitReaper()
{
    if (InstanceState == 1 && !CommLinkPeerGone()) return false;
    OsWaitFor(&gCommLink, OS_FOREVER, [] { return CommRun != 1 || InstanceState != 1; });
    return CommRun == 1;
}

static void AcceptOnce()
{
    const int fd = accept4(s_listener, nullptr, nullptr, SOCK_CLOEXEC); // StopThreads() shuts the listener down
    if (CommRun != 1) {
        if (fd >= 0) close(fd);
        return;
    }
    // A failed accept is handled like any other: its instance ends at once, and the pauses keep this from spinning.
    if (fd < 0) LOG_AS(LOG_LEVEL_ERR, "CommServerProc", "accept err");
    if (!AwaitReaper()) {
        if (fd >= 0) close(fd);
        if (CommRun != 1) return;
        LOG_AS(LOG_LEVEL_ERR, "CommServerProc", "link quntity is large.");
        CommWaitForStop(kRefusalPauseMs);
        return;
    }
    StartInstance(fd);
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
    LocalPeerReset();
    CommReceived = 0;
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
    for (const auto &entry : kThreads) {
        if (OsThreadStart(entry.thread, entry.body, pCommRQ) != 0) {
            LOG_ERR("%s", entry.failure);
            return -1;
        }
        s_started++;
    }
    return 0;
}

// Clears the run flag and wakes all threads of the server.
static void StopThreads()
{
    {
        OsGuard guard(&gCommLink);
        CommRun = 0;
        if (s_listener > 0) shutdown(s_listener, SHUT_RD);
        OsWakeAll(&gCommLink);
    }
    CommHandleWake();
    CommLinkShutDown();
    CommWakeRequesters();
}

void CommServerStop()
{
    StopThreads();
    for (const pthread_t thread : {CommHandlePID, CommServerPID, CommReleasePID}) {
        if (s_started == 0) break;
        OsThreadJoin(thread);
        s_started--;
    }
    if (InstanceState == 1) Reap(); // started after the reaper ended, or without a reaper
    RingQueue_Destroy(pCommRQ);
    OsFree(pCommRQ);
    pCommRQ = nullptr;
}
