#include "simulator/net/Net.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

namespace sim
{

static sockaddr_in ToSocketAddress(const Address &address)
{
    sockaddr_in out = {};
    out.sin_family = AF_INET;
    out.sin_port = htons(address.port);
    memcpy(&out.sin_addr, address.octets, sizeof address.octets);
    return out;
}

static Address FromSocketAddress(const sockaddr_in &in)
{
    Address address;
    memcpy(address.octets, &in.sin_addr, sizeof address.octets);
    address.port = ntohs(in.sin_port);
    return address;
}

int ListenOn(Address *address, std::string *error)
{
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    const int yes = 1;
    const sockaddr_in wanted = ToSocketAddress(*address);
    if (fd >= 0 && setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes) == 0 &&
        bind(fd, reinterpret_cast<const sockaddr *>(&wanted), sizeof wanted) == 0 && listen(fd, SOMAXCONN) == 0) {
        *address = LocalAddress(fd);
        return fd;
    }
    *error = "cannot listen on " + AddressText(*address) + ": " + strerror(errno);
    if (fd >= 0) close(fd);
    return -1;
}

int AcceptFrom(int listener, Address *peer)
{
    sockaddr_in from = {};
    socklen_t size = sizeof from;
    const int fd = accept4(listener, reinterpret_cast<sockaddr *>(&from), &size, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (fd < 0) return -1;
    // If a frame is sent in pieces, each piece is a segment of its own.
    const int yes = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
    *peer = FromSocketAddress(from);
    return fd;
}

Address LocalAddress(int fd)
{
    sockaddr_in local = {};
    socklen_t size = sizeof local;
    getsockname(fd, reinterpret_cast<sockaddr *>(&local), &size);
    return FromSocketAddress(local);
}

} // namespace sim
