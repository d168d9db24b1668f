// lab_traffic - one flow of real traffic between two networks of the lab, and what arrives of it at both ends.
//
//   lab_traffic tcp|udp FROM TO ADDRESS PORT UP DOWN [LISTEN_PORT [SECONDS]]
//
// A socket in the network FROM connects to ADDRESS:PORT (IPv4 or IPv6); another one in TO listens at LISTEN_PORT (PORT
// unless given, or 0) of all its addresses. UP and DOWN are bytes of payload per second from FROM to TO and back; "max" is as
// fast as TCP goes. UDP sends datagrams of 1000 bytes with a number in each. After SECONDS nothing more is sent.
//
// Ten times a second it prints one line of JSON: the time of the monotonic clock in seconds, bytes of payload sent and
// arrived each way since the start, datagrams that are missing, and the longest time in which nothing arrived, in seconds.
// It ends with status 1, and a line that says why, when the connection is not made within five seconds, and goes on for
// ever otherwise.
#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sched.h>
#include <string>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

namespace
{
constexpr size_t kDatagram = 1000;
constexpr double kConnectSeconds = 5;
constexpr double kPrintSeconds = 0.1;
constexpr int kTickMs = 5;
constexpr int kAtOnce = 32;            // sent before it looks at what has arrived
constexpr int kReceiveBytes = 8 << 20; // a program that has to wait for the processor loses nothing

// One direction of the flow.
struct Way {
    int from = -1, to = -1; // sockets
    double rate = 0;        // bytes per second, less than 0 for as fast as it goes
    double since = 0;       // when it began
    uint64_t sent = 0, arrived = 0;
    uint64_t next = 0;               // number of the next datagram
    uint64_t count = 0, highest = 0; // datagrams that arrived; one more than the greatest number
    double lastArrival = 0, longestGap = 0;
};
} // namespace

static double Now()
{
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

[[noreturn]] static void Fail(const char *what, int number)
{
    printf("{\"event\":\"failed\",\"what\":\"%s\",\"reason\":\"%s\"}\n", what, strerror(number));
    exit(1);
}

static void Enter(const char *net)
{
    const int fd = open((std::string("/run/netns/") + net).c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0 || setns(fd, CLONE_NEWNET) != 0) Fail(net, errno);
    close(fd);
}

static int Socket(int family, bool tcp)
{
    const int fd = socket(family, (tcp ? SOCK_STREAM : SOCK_DGRAM) | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0) Fail("socket", errno);
    const int on = 1;
    if (tcp) setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    if (!tcp) setsockopt(fd, SOL_SOCKET, SO_RCVBUFFORCE, &kReceiveBytes, sizeof kReceiveBytes);
    return fd;
}

static int Listen(bool tcp, uint16_t port)
{
    const int fd = Socket(AF_INET6, tcp);
    const int on = 1, off = 0;
    setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    setsockopt(fd, IPPROTO_IPV6, IPV6_V6ONLY, &off, sizeof off);
    struct sockaddr_in6 any = {};
    any.sin6_family = AF_INET6;
    any.sin6_port = htons(port);
    if (bind(fd, reinterpret_cast<struct sockaddr *>(&any), sizeof any) != 0) Fail("bind", errno);
    if (tcp && listen(fd, 1) != 0) Fail("listen", errno);
    return fd;
}

static void Await(int fd, short events, double limit)
{
    struct pollfd ready = {fd, events, 0};
    const double left = std::max(limit - Now(), 0.0);
    const int count = poll(&ready, 1, static_cast<int>(left * 1000));
    if (count <= 0) Fail("connect", count == 0 ? ETIMEDOUT : errno);
}

static int Connect(bool tcp, const char *address, uint16_t port, double limit)
{
    struct sockaddr_in four = {};
    struct sockaddr_in6 six = {};
    four.sin_family = AF_INET;
    six.sin6_family = AF_INET6;
    four.sin_port = six.sin6_port = htons(port);
    const bool isFour = inet_pton(AF_INET, address, &four.sin_addr) == 1;
    if (!isFour && inet_pton(AF_INET6, address, &six.sin6_addr) != 1) Fail(address, EINVAL);
    const int fd = Socket(isFour ? AF_INET : AF_INET6, tcp);
    const int result = isFour ? connect(fd, reinterpret_cast<struct sockaddr *>(&four), sizeof four)
                              : connect(fd, reinterpret_cast<struct sockaddr *>(&six), sizeof six);
    if (result != 0 && errno != EINPROGRESS) Fail("connect", errno);
    Await(fd, POLLOUT, limit);
    int error = 0;
    socklen_t size = sizeof error;
    getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &size);
    if (error != 0) Fail("connect", error);
    return fd;
}

// The other end of the flow: TCP's accepted connection, or the datagram socket tied to whoever has sent something.
static int Accept(bool tcp, int listening, int connected, double limit)
{
    if (!tcp && send(connected, "", 0, 0) != 0) Fail("send", errno);
    Await(listening, POLLIN, limit);
    if (tcp) {
        const int fd = accept4(listening, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
        if (fd < 0) Fail("accept", errno);
        close(listening);
        return fd;
    }
    char nothing;
    struct sockaddr_in6 peer;
    socklen_t size = sizeof peer;
    if (recvfrom(listening, &nothing, 1, 0, reinterpret_cast<struct sockaddr *>(&peer), &size) < 0 ||
        connect(listening, reinterpret_cast<struct sockaddr *>(&peer), size) != 0)
        Fail("first datagram", errno);
    return listening;
}

// Sends what is due. Datagrams that the kernel does not take are lost.
static void Send(Way *way, bool tcp)
{
    static char data[65536];
    const double seconds = Now() - way->since;
    for (int left = kAtOnce; left > 0; left--) {
        size_t size = tcp ? sizeof data : kDatagram;
        if (way->rate >= 0) {
            const double due = way->rate * seconds - static_cast<double>(way->sent);
            if (due < (tcp ? 1 : static_cast<double>(kDatagram))) return;
            if (tcp) size = std::min(size, static_cast<size_t>(due));
        }
        if (!tcp) {
            memcpy(data, &way->next, sizeof way->next);
            way->next++;
        }
        const ssize_t count = send(way->from, data, size, MSG_NOSIGNAL);
        if (count < 0 && tcp) {
            if (errno != EAGAIN && errno != EINTR) Fail("send", errno);
            return;
        }
        way->sent += tcp ? static_cast<size_t>(count) : size;
    }
}

static void Receive(Way *way, bool tcp)
{
    static char data[65536];
    for (;;) {
        const ssize_t count = recv(way->to, data, sizeof data, 0);
        if (count == 0 && tcp) Fail("receive", ECONNRESET);
        if (count < 0 && (errno == EAGAIN || errno == EINTR)) return;
        if (count < 0 && tcp) Fail("receive", errno);
        if (count <= 0) continue; // an empty datagram, or word of one that did not arrive
        const double now = Now();
        way->longestGap = std::max(way->longestGap, now - way->lastArrival);
        way->lastArrival = now;
        way->arrived += static_cast<size_t>(count);
        if (tcp || static_cast<size_t>(count) != kDatagram) continue;
        uint64_t number;
        memcpy(&number, data, sizeof number);
        way->count++;
        way->highest = std::max(way->highest, number + 1);
    }
}

static double Gap(const Way &way)
{
    return way.rate == 0 ? 0 : std::max(way.longestGap, Now() - way.lastArrival);
}

static void Print(const Way &up, const Way &down)
{
    printf("{\"event\":\"traffic\",\"time\":%.3f,\"up\":%llu,\"down\":%llu,\"up_sent\":%llu,\"down_sent\":%llu,"
           "\"up_missing\":%llu,\"down_missing\":%llu,\"up_gap\":%.3f,\"down_gap\":%.3f}\n",
           Now(), static_cast<unsigned long long>(up.arrived), static_cast<unsigned long long>(down.arrived),
           static_cast<unsigned long long>(up.sent), static_cast<unsigned long long>(down.sent),
           static_cast<unsigned long long>(up.highest - up.count),
           static_cast<unsigned long long>(down.highest - down.count), Gap(up), Gap(down));
}

static double Rate(const char *text)
{
    return strcmp(text, "max") == 0 ? -1 : atof(text);
}

int main(int argc, char *argv[])
{
    if (argc < 8 || argc > 10) {
        fprintf(stderr, "lab_traffic tcp|udp FROM TO ADDRESS PORT UP DOWN [LISTEN_PORT [SECONDS]]\n");
        return 2;
    }
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    setvbuf(stdout, nullptr, _IOLBF, 0);
    const bool tcp = strcmp(argv[1], "tcp") == 0;
    const double limit = Now() + kConnectSeconds;
    Enter(argv[3]);
    const int port = atoi(argv[5]);
    const int listenPort = argc > 8 ? atoi(argv[8]) : 0;
    const int listening = Listen(tcp, static_cast<uint16_t>(listenPort ? listenPort : port));
    Enter(argv[2]);
    const int connected = Connect(tcp, argv[4], static_cast<uint16_t>(port), limit);
    const int accepted = Accept(tcp, listening, connected, limit);

    Way up, down;
    up.from = down.to = connected;
    up.to = down.from = accepted;
    up.rate = Rate(argv[6]);
    down.rate = Rate(argv[7]);
    up.since = down.since = up.lastArrival = down.lastArrival = Now();
    const double last = argc > 9 ? Now() + atof(argv[9]) : INFINITY;
    for (double next = Now();;) {
        if (Now() < last) {
            Send(&up, tcp);
            Send(&down, tcp);
        }
        struct pollfd readable[] = {{up.to, POLLIN, 0}, {down.to, POLLIN, 0}};
        poll(readable, 2, kTickMs);
        Receive(&up, tcp);
        Receive(&down, tcp);
        if (Now() < next) continue;
        Print(up, down);
        next = Now() + kPrintSeconds;
    }
}
