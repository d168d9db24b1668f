#include "simulator/net/Net.h"

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

using namespace sim;

// A connection that is there, without anybody having accepted it; -1 when it is not let in.
static int ConnectTo(const Address &address)
{
    sockaddr_in to = {};
    to.sin_family = AF_INET;
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    to.sin_port = htons(address.port);
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    connect(fd, reinterpret_cast<sockaddr *>(&to), sizeof to);
    pollfd ready = {fd, POLLOUT, 0};
    if (poll(&ready, 1, 500) == 1 && (ready.revents & POLLOUT) && !(ready.revents & POLLERR)) return fd;
    close(fd);
    return -1;
}

TEST(Net, HoldsEveryConnectionOfManyAgentsUntilItIsAccepted)
{
    // A thousand would need more descriptors than a process may open by default; a small backlog already shows with 64.
    const size_t count = 400;
    Address address;
    std::string error;
    const int listener = ListenOn(&address, &error);
    ASSERT_GE(listener, 0) << error;
    std::vector<int> agents;
    while (agents.size() < count && (agents.empty() || agents.back() >= 0)) agents.push_back(ConnectTo(address));
    EXPECT_EQ(count, agents.size());
    EXPECT_GE(agents.back(), 0);
    size_t accepted = 0;
    Address peer;
    for (int fd; (fd = AcceptFrom(listener, &peer)) >= 0; accepted++) close(fd);
    EXPECT_EQ(count, accepted);
    for (const int fd : agents)
        if (fd >= 0) close(fd);
    close(listener);
}
