#include "tests/e2e/Listener.h"

#include <arpa/inet.h>
#include <fstream>
#include <netinet/in.h>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

#include "tests/e2e/Process.h"
#include "tests/support/Within.h"

Listener::Listener(const char *address, uint16_t port, Kind kind)
    : listening_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    struct sockaddr_in at = {};
    at.sin_family = AF_INET;
    at.sin_port = htons(port);
    inet_pton(AF_INET, address, &at.sin_addr);
    const auto *name = reinterpret_cast<const struct sockaddr *>(&at);
    const int on = 1;
    setsockopt(listening_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (bind(listening_, name, sizeof at) != 0 || listen(listening_, kind == SILENT ? 0 : 100) != 0)
        throw Failure("cannot listen");
    if (kind == MUTE) return;
    // One connection that nobody accepts fills the queue; the kernel drops all further attempts.
    filling_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (connect(filling_, name, sizeof at) != 0) throw Failure("cannot connect");
}

Listener::~Listener()
{
    close(listening_);
    if (filling_ >= 0) close(filling_);
}

// The fourth column of the kernel's table is the state; 02 is SYN-SENT.
static bool SomebodyWaits()
{
    std::ifstream table("/proc/net/tcp");
    std::string line, number, local, remote, state;
    std::getline(table, line);
    while (table >> number >> local >> remote >> state) {
        if (state == "02") return true;
        std::getline(table, line);
    }
    return false;
}

bool WaitForUnansweredConnect(double seconds)
{
    return Within(seconds, SomebodyWaits); // no event tells of it
}
