#include "Link.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "platform/Crypt.h"

double NowMs()
{
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

void SleepUntilMs(double when)
{
    struct timespec until;
    until.tv_sec = static_cast<time_t>(when / 1e3);
    until.tv_nsec = static_cast<long>(std::fmod(when, 1e3) * 1e6);
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr) == EINTR) {
    }
}

void Fail(const char *what)
{
    fprintf(stderr, "benchmark: %s%s%s\n", what, errno ? ": " : "", errno ? strerror(errno) : "");
    exit(1);
}

Bytes MakeFrame(uint8_t msgType, const Bytes &head, const Bytes &record)
{
    Bytes body(record.empty() ? 0 : AesPaddedLength(record.size()));
    size_t bodyLen = 0;
    if (!record.empty()) aes_encrypt(kBenchKey, record.data(), body.data(), record.size(), &bodyLen);
    const uint8_t checksum =
        FrameChecksum(static_cast<uint16_t>(bodyLen), head.data(), head.size(), record.data(), record.size());
    const FrameHeader header = {msgType, FLAG_UP, static_cast<uint8_t>(head.size()), checksum,
                                static_cast<uint16_t>(bodyLen)};
    Bytes frame(kFrameHeaderSize + head.size() + bodyLen);
    if (FrameWrite(header, head.data(), body.data(), frame.data(), frame.size()) == 0) Fail("a frame does not fit");
    return frame;
}

// ---- Listener ----

Listener::Listener() : mFd(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)), mPort(0)
{
    struct sockaddr_in here = {};
    here.sin_family = AF_INET;
    here.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof here;
    if (bind(mFd, reinterpret_cast<struct sockaddr *>(&here), size) != 0 || listen(mFd, 8) != 0 ||
        getsockname(mFd, reinterpret_cast<struct sockaddr *>(&here), &size) != 0)
        Fail("cannot listen on the loopback interface");
    mPort = ntohs(here.sin_port);
}

Listener::~Listener()
{
    close(mFd);
}

int Listener::Accept() const
{
    const int fd = accept4(mFd, nullptr, nullptr, SOCK_CLOEXEC);
    const int on = 1;
    if (fd < 0 || setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on) != 0) Fail("cannot accept");
    return fd;
}

// ---- Link ----

Link::Link(Link &&other) noexcept : mFd(other.mFd), mReceived(std::move(other.mReceived))
{
    other.mFd = -1;
}

Link &Link::operator=(Link &&other) noexcept
{
    Close();
    mFd = other.mFd;
    mReceived = std::move(other.mReceived);
    other.mFd = -1;
    return *this;
}

void Link::Close()
{
    if (mFd >= 0) close(mFd);
    mFd = -1;
    mReceived.clear();
}

void Link::Send(const Bytes &bytes)
{
    // A lost peer is noticed by the wait for the next frame.
    if (send(mFd, bytes.data(), bytes.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(bytes.size()))
        shutdown(mFd, SHUT_RD);
}

bool Link::CutOut(BenchFrame *frame)
{
    if (mReceived.size() < kFrameHeaderSize) return false;
    if (!FrameReadHeader(mReceived.data(), mReceived.size(), &frame->header))
        Fail("the peer sent something else than a frame");
    const size_t headLen = frame->header.headLen, bodyLen = frame->header.bodyLen;
    const size_t length = kFrameHeaderSize + headLen + bodyLen;
    if (mReceived.size() < length) return false;
    const uint8_t *head = mReceived.data() + kFrameHeaderSize;
    frame->head.assign(head, head + headLen);
    frame->plain.assign(bodyLen, 0);
    size_t plainLen = 0;
    if (bodyLen > 0) aes_decrypt(kBenchKey, head + headLen, frame->plain.data(), bodyLen, &plainLen);
    mReceived.erase(mReceived.begin(), mReceived.begin() + static_cast<long>(length));
    return true;
}

bool Link::Next(BenchFrame *frame, double deadline)
{
    while (!CutOut(frame)) {
        const double left = deadline - NowMs();
        struct pollfd ready = {mFd, POLLIN, 0};
        if (left <= 0 || poll(&ready, 1, static_cast<int>(left) + 1) <= 0) return false;
        uint8_t bytes[8192];
        const ssize_t count = recv(mFd, bytes, sizeof bytes, 0);
        if (count <= 0) return false;
        mReceived.insert(mReceived.end(), bytes, bytes + count);
    }
    return true;
}
