#include "sdk/linux/links/Netlink.h"

#include <atomic>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <sys/socket.h>
#include <sys/time.h>

static const int kReceiveBytes = 1 << 20; // the kernel's queue of events; it takes memory only while they wait

static std::atomic<unsigned> s_sequence{1};

mnl_socket *NetlinkOpen(int bus, const int *groups, size_t count)
{
    mnl_socket *socket = mnl_socket_open2(bus, SOCK_CLOEXEC);
    if (!socket) return nullptr;
    const int descriptor = mnl_socket_get_fd(socket);
    const timeval limit = {2, 0};
    setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    if (count > 0 && setsockopt(descriptor, SOL_SOCKET, SO_RCVBUFFORCE, &kReceiveBytes, sizeof kReceiveBytes) != 0)
        setsockopt(descriptor, SOL_SOCKET, SO_RCVBUF, &kReceiveBytes, sizeof kReceiveBytes);
    bool good = mnl_socket_bind(socket, 0, MNL_SOCKET_AUTOPID) == 0;
    for (size_t i = 0; good && i < count; i++) {
        int group = groups[i];
        good = mnl_socket_setsockopt(socket, NETLINK_ADD_MEMBERSHIP, &group, sizeof group) == 0;
    }
    if (good) return socket;
    const int error = errno;
    mnl_socket_close(socket);
    errno = error;
    return nullptr;
}

static int AskOnce(mnl_socket *socket, nlmsghdr *request, mnl_cb_t callback, void *user)
{
    alignas(nlmsghdr) char buffer[kNetlinkBuffer];
    request->nlmsg_seq = ++s_sequence;
    if (mnl_socket_sendto(socket, request, request->nlmsg_len) < 0) return -1;
    for (;;) {
        const ssize_t length = mnl_socket_recvfrom(socket, buffer, sizeof buffer);
        if (length < 0 && errno == EINTR) continue;
        if (length < 0) return -1;
        // What was left behind by a request that was given up.
        if (reinterpret_cast<nlmsghdr *>(buffer)->nlmsg_seq != request->nlmsg_seq) continue;
        const int result =
            mnl_cb_run(buffer, size_t(length), request->nlmsg_seq, mnl_socket_get_portid(socket), callback, user);
        if (result <= 0) return result;
    }
}

int NetlinkAsk(mnl_socket *socket, nlmsghdr *request, mnl_cb_t callback, void *user)
{
    const int result = AskOnce(socket, request, callback, user);
    return result < 0 && errno == EINTR ? AskOnce(socket, request, callback, user) : result;
}

bool HasRoom(const nlattr *attribute, size_t size)
{
    return attribute && mnl_attr_get_payload_len(attribute) >= size;
}

static void Collect(const void *first, size_t length, const nlattr **attributes, int most)
{
    memset(attributes, 0, sizeof *attributes * size_t(most + 1));
    ForEachAttribute(first, length, [&](const nlattr *attribute) {
        if (mnl_attr_get_type(attribute) <= most) attributes[mnl_attr_get_type(attribute)] = attribute;
    });
}

void CollectAttributes(const nlmsghdr *message, size_t header, const nlattr **attributes, int most)
{
    const size_t length = mnl_nlmsg_get_payload_len(message), start = MNL_ALIGN(header);
    const char *payload = static_cast<const char *>(mnl_nlmsg_get_payload(message));
    Collect(payload + start, length > start ? length - start : 0, attributes, most);
}

void CollectNested(const nlattr *nest, const nlattr **attributes, int most)
{
    if (nest)
        Collect(mnl_attr_get_payload(nest), mnl_attr_get_payload_len(nest), attributes, most);
    else
        Collect(nullptr, 0, attributes, most);
}
