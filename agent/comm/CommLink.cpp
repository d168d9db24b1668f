#define LOG_MODULE "CommServer"
#include "comm/CommLink.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "core/Common.h"

OsAtomic<int> CommRun;
OsAtomic<int> InstanceState;
OsAtomic<int> InstanceSocket;
OsWaiter gCommLink;

static pthread_mutex_t s_socketLock = PTHREAD_MUTEX_INITIALIZER; // around each use of InstanceSocket and its close

bool CommWaitForStop(int64_t milliseconds)
{
    return OsWaitFor(&gCommLink, milliseconds, [] { return CommRun != 1; });
}

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

void CommLinkOpen(int fd)
{
    OsGuard guard(&s_socketLock);
    InstanceSocket = fd;
}

void CommLinkClose(int fd)
{
    OsGuard guard(&s_socketLock);
    if (fd >= 0) close(fd);
    InstanceSocket = 0;
}

void CommLinkShutDown()
{
    OsGuard guard(&s_socketLock);
    if (InstanceSocket > 0) shutdown(InstanceSocket, SHUT_RD);
}

bool CommLinkPeerGone()
{
    OsGuard guard(&s_socketLock);
    if (InstanceSocket == 0) return true;
    struct pollfd peer = {InstanceSocket, 0, 0};
    return InstanceSocket > 0 && poll(&peer, 1, 0) == 1 && (peer.revents & POLLHUP);
}
