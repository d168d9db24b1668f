#define LOG_MODULE "TcpServer"
#include "platform/TcpServer.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include "core/Common.h"
#include "core/PlugStatus.h"
#include "os/OsClock.h"
#include "os/OsProcess.h"
#include "os/OsWait.h"
#include "platform/Protool.h"
#include "platform/ServerStop.h"
#include "platform/SignOfLife.h"

#ifndef TCP_USER_TIMEOUT
#define TCP_USER_TIMEOUT 18 // Linux has it since 2.6.37, the C libraries of some routers do not name it
#endif

static int ServerSock; // 0 when closed
// Taken around every send, recv and close of ServerSock.
static pthread_mutex_t mMutexTcp = PTHREAD_MUTEX_INITIALIZER;
// What the socket did not take of the last frame; guarded by mMutexTcp.
static struct {
    uint8_t bytes[kMaxFrame];
    size_t sent; // of `length` bytes
    size_t length;
} s_rest;
static FrameHandler s_onFrame;
static int64_t s_pauseEndMs; // behind the last frame; of the response thread alone

static const int kSendBuffer = 16384;
static const size_t kReadSize = 1500;
static const int kFailuresToEnd = 6;     // consecutive, of select or of recv
static const int kEmptyReadsToEnd = 300; // consecutive, 10 ms apart: frames that came before the end are still handled
static const int kEmptyReadPauseMs = 10;
static const int kFramePauseMs = 10;
static const int kStopPauseMs = 1000;

void ServerOnFrame(FrameHandler handler)
{
    s_onFrame = handler;
}

static void CloseSocket()
{
    OsGuard guard(&mMutexTcp);
    if (ServerSock > 0) close(ServerSock);
    ServerSock = 0;
    s_rest.sent = s_rest.length = 0;
}

// Sends the rest of a frame, as far as the socket takes it. Returns whether none is left; mMutexTcp is held.
static bool SendRest()
{
    const size_t left = s_rest.length - s_rest.sent;
    if (left == 0) return true;
    const ssize_t sent = send(ServerSock, s_rest.bytes + s_rest.sent, left, MSG_NOSIGNAL);
    if (sent > 0) s_rest.sent += static_cast<size_t>(sent);
    return s_rest.sent == s_rest.length;
}

static void EndSession()
{
    SetSessionFlag(mLogin, 0);
    LogPlugStatus(PLUG_LINK_LOST);
    SetSessionFlag(mQuitPro, 1);
    CloseSocket();
}

// What the receive thread has met in a row: each counts up to the limit above that ends the session.
struct ReceiveTroubles {
    int waits;
    int emptyReads;
    int reads;
};

// One read of the ready socket. Returns false when the session is to end.
static bool ReceiveOnce(ReceiveTroubles *troubles)
{
    uint8_t bytes[kReadSize];
    ssize_t count;
    {
        OsGuard guard(&mMutexTcp);
        count = recv(ServerSock, bytes, sizeof bytes, 0);
        if (count > 0) SendRest(); // a platform that sends again most likely reads again, too
    }
    if (count > 0) {
        NoteBytes();
        push(bytes, static_cast<size_t>(count));
        troubles->emptyReads = troubles->reads = 0;
        return true;
    }
    if (count == 0) {
        WaitForServerStop(kEmptyReadPauseMs);
        if (++troubles->emptyReads < kEmptyReadsToEnd) return true;
        LOG_AS(LOG_LEVEL_ERR, "ServerRecv", "Close link.");
        return false;
    }
    if (++troubles->reads < kFailuresToEnd) return true;
    LOG_AS(LOG_LEVEL_ERR, "ServerRecv", "receive error.");
    return false;
}

// Waits for bytes and takes them. Returns false when the session is to end.
static bool ReceiveStep(int fd, ReceiveTroubles *troubles)
{
    const OsReadable ready = OsWaitReadable(fd, -1);
    if (ServerRun != 1) return true;
    if (ready != OS_WAIT_FAILED) troubles->waits = 0;
    switch (ready) {
    case OS_READABLE: return ReceiveOnce(troubles);
    case OS_WAIT_FAILED: LOG_AS(LOG_LEVEL_ERR, "ServerRecv", "Net error."); return ++troubles->waits < kFailuresToEnd;
    case OS_OTHER_EVENT: LOG_AS(LOG_LEVEL_ERR, "ServerRecv", "unknow err."); return true;
    case OS_TIMED_OUT: return true;
    }
    return true;
}

static void PassOn(bool *receives)
{
    if (*receives) PassSocket();
    *receives = false;
}

// Handles the frames of the queue, unless the other thread does. While the caller `receives` nobody else would, so it passes
// the socket on before a pause and before a frame that may keep it. The answers to what the agent has sent do not: each of
// them wakes one thread only.
static void RespProc(bool *receives)
{
    static ReceivedFrame frame; // too large for the stack; there is one response thread at a time
    for (bool mine = false; QueueTurn(mine); mine = true) {
        const int64_t leftMs = s_pauseEndMs - OsNowMs();
        if (leftMs > 0) {
            PassOn(receives);
            WaitForServerStop(leftMs);
        }
        if (ServerRun != 1) return;
        if (popup(&frame) == 0) {
            SetResponseState(RESPONSE_OCCUPIED);
            if (frame.header.msgType == MSG_SESSION_ACK)
                LOG_DEBUG("regist or connnect ack len = %d,%d", frame.header.bodyLen, frame.header.headLen);
            else if (frame.header.msgType != MSG_HEARTBEAT_ACK)
                PassOn(receives);
            s_onFrame(frame);
            s_pauseEndMs = OsNowMs() + kFramePauseMs;
        }
        SetResponseState(QueueHoldsBegunFrame() ? RESPONSE_OCCUPIED : RESPONSE_WAITS);
    }
}

// One of the two threads; the one with an argument is the first to receive.
static void *ServerRecv(void *first)
{
    CountServerThread(1);
    int fd;
    {
        OsGuard guard(&mMutexTcp);
        fd = ServerSock; // only the thread that receives closes it while they run
    }
    bool receives = first != nullptr;
    ReceiveTroubles troubles = {};
    while (ServerRun == 1) {
        if (!receives) {
            receives = AwaitSocket();
            troubles = {};
        } else if (ReceiveStep(fd, &troubles)) {
            RespProc(&receives);
        } else {
            EndSession();
            break;
        }
    }
    if (receives) CloseSocket();
    CountServerThread(-1);
    return nullptr;
}

// Opens the connection. Returns the descriptor, or -1 with its log line.
static int Connect(const char *address, uint16_t port)
{
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        LOG_AS(LOG_LEVEL_ERR, "SocketInit", "Create socket failed!");
        return -1;
    }
    const int on = 1;
    struct sockaddr_in peer = {};
    peer.sin_family = AF_INET;
    peer.sin_port = htons(port);
    const char *failure = nullptr;
    if (setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0)
        failure = "setsockopt(SO_REUSEADDR) Failed!";
    else if (setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &kSendBuffer, sizeof kSendBuffer) != 0)
        failure = "setsockopt(SO_SNDBUF) Failed!";
    else if (inet_pton(AF_INET, address, &peer.sin_addr) != 1 ||
             connect(fd, reinterpret_cast<struct sockaddr *>(&peer), sizeof peer) != 0)
        failure = "connect failed!......";
    if (!failure) {
        // An answer of two frames would otherwise wait for the platform's delayed acknowledgement between them.
        setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        return fd;
    }
    LOG_AS(LOG_LEVEL_ERR, "SocketInit", "%s", failure);
    close(fd);
    return -1;
}

static int StartThreads(SessionContext *context)
{
    if (OsThreadStart(&context->responseThread, ServerRecv, nullptr) != 0) {
        LOG_AS(LOG_LEVEL_ERR, "SocketInit", "Create response thread failed");
        return -1;
    }
    context->serverThreads = SERVER_THREADS_RESPONSE;
    if (OsThreadStart(&context->receiveThread, ServerRecv, context) != 0) {
        LOG_AS(LOG_LEVEL_ERR, "SocketInit", "Create receive thread error.");
        return -1;
    }
    context->serverThreads = SERVER_THREADS_BOTH;
    return 0;
}

int ServerInit(const char *address, uint16_t port, SessionContext *context)
{
    if (ServerRun == 1) {
        LOG_AS(LOG_LEVEL_ERR, "SocketInit", "Client running.");
        return -1;
    }
    ServerRun = 1;
    NewTcpQueue();
    SetResponseState(RESPONSE_WAITS);
    s_pauseEndMs = OsNowMs();
    const int fd = Connect(address, port);
    if (fd < 0) {
        LOG_AS(LOG_LEVEL_ERR, "SocketInit", "SocketInit error");
        return -1;
    }
    LOG_AS(LOG_LEVEL_DEBUG, "SocketInit", "connected.");
    fcntl(fd, F_SETFL, O_NONBLOCK);
    {
        OsGuard guard(&mMutexTcp);
        ServerSock = fd;
    }
    ServerFollowInterval();
    return StartThreads(context);
}

void ServerFollowInterval()
{
    const int limitMs = SilenceLimitMs();
    OsGuard guard(&mMutexTcp);
    if (ServerSock > 0) setsockopt(ServerSock, IPPROTO_TCP, TCP_USER_TIMEOUT, &limitMs, sizeof limitMs);
}

int SendData(const uint8_t *frame, size_t length)
{
    if (!frame || length < 1 || length > kMaxFrame) return -1;
    OsGuard guard(&mMutexTcp);
    if (ServerSock < 1 || !SendRest()) return -1;
    const ssize_t sent = send(ServerSock, frame, length, MSG_NOSIGNAL);
    if (sent == static_cast<ssize_t>(length)) return 0;
    if (sent > 0) {
        s_rest.sent = 0;
        s_rest.length = length - static_cast<size_t>(sent);
        memcpy(s_rest.bytes, frame + sent, s_rest.length);
    }
    return -1;
}

// Clears the run flag and wakes every wait of the two threads.
static void StopThreads()
{
    BeginServerStop();
    OsGuard guard(&mMutexTcp);
    if (ServerSock > 0) shutdown(ServerSock, SHUT_RD);
}

int DeleteServer(SessionContext *context)
{
    StopThreads();
    OsSleepMs(kStopPauseMs);
    int result = 0;
    if (context->serverThreads >= SERVER_THREADS_RESPONSE) {
        AwaitServerResponse();
        result = OsThreadJoin(context->responseThread);
        if (result != 0) LOG_ERR("Stop response thread error...");
    }
    if (context->serverThreads == SERVER_THREADS_BOTH) {
        result = OsThreadJoin(context->receiveThread);
        if (result != 0) LOG_ERR("Stop rtsp client stream error..."); // this text, on purpose
    }
    context->serverThreads = SERVER_THREADS_NONE;
    CloseSocket();
    return result;
}

int GetServerIp(const char *host, char *dest, size_t capacity)
{
    const struct hostent *entry = gethostbyname(host);
    if (!entry) {
        LOG_ERR("gethostbyname error for host:%s", host);
        return -1;
    }
    if (entry->h_addrtype == AF_INET && entry->h_addr_list[0]) {
        LOG_DEBUG("hostname: %s", entry->h_name);
        inet_ntop(AF_INET, entry->h_addr_list[0], dest, static_cast<socklen_t>(capacity));
        LOG_DEBUG("ip: %s", dest);
    }
    if (dest[0] == '\0') {
        LOG_ERR("server_ip is empty.");
        return -2;
    }
    return 0;
}
