#include "tests/unit/gateway/web/FakeView.h"

#include <arpa/inet.h>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

using namespace gateway;
using Guard = std::lock_guard<std::mutex>;

Health FakeView::State()
{
    const Guard guard(lock);
    if (throws) throw std::runtime_error("as a test wants");
    return health;
}

std::vector<OnlineRouter> FakeView::Online()
{
    const Guard guard(lock);
    return online;
}

std::optional<OnlineRouter> FakeView::Router(const std::string &serial)
{
    const Guard guard(lock);
    for (const OnlineRouter &router : online)
        if (router.serial == serial) return router;
    OnlineRouter offline;
    offline.serial = serial;
    return serial == "asleep" ? std::optional<OnlineRouter>(offline) : std::nullopt;
}

std::vector<Json> FakeView::LastReports(const std::string &)
{
    const Guard guard(lock);
    return reports;
}

Json FakeView::Ask(const std::string &serial, const std::string &function, const Json &parameters)
{
    const Guard guard(lock);
    asked = serial + ' ' + function + ' ' + JsonText(parameters);
    return {{"ok", true}, {"function", function}, {"status", 0}, {"fields", {{"down", UINT64_MAX}}}, {"ms", 3}};
}

OnlineRouter OnlineNow(const std::string &serial, const std::string &version, const std::string &model)
{
    OnlineRouter router;
    router.serial = serial;
    router.name = "name of " + serial;
    router.model = model;
    router.version = version;
    router.mac = "02:11:22:33:44:55";
    router.address = "192.0.2.1:4000";
    router.gateway = "gw-1";
    router.since = 1700000000;
    router.lastReport = "device-list";
    router.lastReportTime = 1700000100;
    return router;
}

Reply Send(uint16_t port, const std::string &bytes)
{
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const timeval patience = {20, 0};
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    std::string all;
    if (connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0) {
        for (size_t at = 0; at < bytes.size();) {
            const ssize_t sent = send(fd, bytes.data() + at, bytes.size() - at, MSG_NOSIGNAL);
            if (sent <= 0) break; // the server has had enough
            at += static_cast<size_t>(sent);
        }
        char block[4096];
        ssize_t count;
        while ((count = recv(fd, block, sizeof block, 0)) > 0) all.append(block, static_cast<size_t>(count));
    }
    close(fd);
    Reply reply;
    const size_t end = all.find("\r\n\r\n");
    if (all.compare(0, 9, "HTTP/1.1 ") == 0) reply.status = atoi(all.c_str() + 9);
    reply.head = all.substr(0, end);
    if (end != std::string::npos) reply.body = all.substr(end + 4);
    return reply;
}

Reply Get(uint16_t port, const std::string &path, const std::string &more)
{
    return Send(port, "GET " + path + " HTTP/1.1\r\nHost: 127.0.0.1\r\n" + more + "\r\n");
}

Reply Post(uint16_t port, const std::string &path, const std::string &body, const std::string &more)
{
    return Send(port, "POST " + path + " HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Length: " +
                          std::to_string(body.size()) + "\r\n" + more + "\r\n" + body);
}
