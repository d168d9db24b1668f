#include "LocalPeer.h"

#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "comm/CommFrame.h"
#include "comm/FuncIdList.h"
#include "core/Wire.h"

static const double kConnectMs = 5000;
static const double kRetryMs = 10;

static int Connect()
{
    struct sockaddr_un there = {};
    there.sun_family = AF_UNIX;
    strcpy(there.sun_path, "/tmp/CommServer");
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    for (const double deadline = NowMs() + kConnectMs; NowMs() < deadline; SleepUntilMs(NowMs() + kRetryMs))
        if (connect(fd, reinterpret_cast<struct sockaddr *>(&there), sizeof there) == 0) return fd;
    Fail("the agent's local server is not there");
}

LocalPeer::LocalPeer() : mFd(Connect()) {}

LocalPeer::~LocalPeer()
{
    shutdown(mFd, SHUT_RDWR);
    if (mThread.joinable()) mThread.join();
    close(mFd);
}

void LocalPeer::AnswerAll()
{
    mThread = std::thread([this] { Answer(); });
}

void LocalPeer::Answer()
{
    Bytes received;
    uint8_t bytes[8192];
    ssize_t count;
    while ((count = recv(mFd, bytes, sizeof bytes, 0)) > 0) {
        received.insert(received.end(), bytes, bytes + count);
        while (received.size() >= kCommHeaderSize) {
            WireReader r = WireRead(received.data() + 2, kCommHeaderSize - 2);
            const uint16_t funcId = WireGetLe16(&r);
            WireGetLe32(&r);
            const size_t size = kCommHeaderSize + WireGetLe32(&r);
            if (received.size() < size) break;
            received.erase(received.begin(), received.begin() + static_cast<long>(size));
            if (funcId != FUNCID_PLUGIN_STATE) Send(funcId, {0, 1});
        }
    }
}

void LocalPeer::Send(uint16_t funcId, const Bytes &payload)
{
    Bytes frame(kCommHeaderSize + payload.size());
    CommFrameWrite(funcId, ++mSequence, payload.data(), payload.size(), frame.data(), frame.size());
    if (send(mFd, frame.data(), frame.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(frame.size()))
        Fail("the agent's local server has closed");
}

void LocalPeer::Drain()
{
    uint8_t bytes[8192];
    while (recv(mFd, bytes, sizeof bytes, MSG_DONTWAIT) > 0) {
    }
}
