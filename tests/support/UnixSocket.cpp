#include "tests/support/UnixSocket.h"

#include <cerrno>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

struct sockaddr_un UnixAddress(const std::string &path)
{
    struct sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    return address;
}

int ConnectUnix(const std::string &path)
{
    const struct sockaddr_un there = UnixAddress(path);
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const struct timeval limit = {10, 0};
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
    if (connect(fd, reinterpret_cast<const struct sockaddr *>(&there), sizeof there) == 0) return fd;
    const int error = errno;
    close(fd);
    errno = error;
    return -1;
}
