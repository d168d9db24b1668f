#include "tests/e2e/GatewayRouter.h"

#include <cstring>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace protocol;

GatewayRouter::~GatewayRouter()
{
    Close();
}

void GatewayRouter::Close()
{
    if (fd_ >= 0) shutdown(fd_, SHUT_RDWR);
    if (server_.joinable()) server_.join();
    if (fd_ >= 0) close(fd_);
    fd_ = -1;
    cutter_ = FrameCutter();
}

bool GatewayRouter::Connect(const Address &address)
{
    Close();
    const auto endpoint = [](const Address &at) {
        struct sockaddr_in point = {};
        point.sin_family = AF_INET;
        point.sin_port = htons(at.port);
        memcpy(&point.sin_addr, at.octets, sizeof at.octets);
        return point;
    };
    struct sockaddr_in from = endpoint(facts_.from), to = endpoint(address);
    fd_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    return bind(fd_, reinterpret_cast<struct sockaddr *>(&from), sizeof from) == 0 &&
           connect(fd_, reinterpret_cast<struct sockaddr *>(&to), sizeof to) == 0;
}

void GatewayRouter::SendBytes(const Bytes &bytes)
{
    size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t size = send(fd_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (size <= 0) return; // it is closed, which the reader sees
        sent += static_cast<size_t>(size);
    }
}

std::optional<ParsedFrame> GatewayRouter::Read(double seconds)
{
    Bytes raw;
    std::string problem;
    while (!cutter_.Pop(&raw, &problem)) {
        struct pollfd readable = {fd_, POLLIN, 0};
        uint8_t buffer[4096];
        if (poll(&readable, 1, static_cast<int>(1000 * seconds)) != 1) return std::nullopt;
        const ssize_t size = recv(fd_, buffer, sizeof buffer, 0);
        if (size <= 0) return std::nullopt;
        cutter_.Push(buffer, static_cast<size_t>(size));
    }
    return ParseFrame(raw, facts_.key, false);
}

bool GatewayRouter::IsClosed(double seconds)
{
    for (;;) {
        struct pollfd readable = {fd_, POLLIN, 0};
        uint8_t buffer[4096];
        if (poll(&readable, 1, static_cast<int>(1000 * seconds)) != 1) return false;
        if (recv(fd_, buffer, sizeof buffer, 0) <= 0) return true;
    }
}

bool GatewayRouter::Register(const std::string &address)
{
    Address at;
    if (!ParseAddress(address, &at) || !Connect(at)) return false;
    SendBytes(RegisterFrame(facts_));
    const auto answer = Read();
    const auto registration = answer ? ReadRegistration(*answer) : std::nullopt;
    if (registration) registration_ = *registration;
    return registration.has_value();
}

bool GatewayRouter::Login(const std::string &address)
{
    return ParseAddress(address, &registration_.login) && Login();
}

bool GatewayRouter::Login()
{
    if (!Connect(registration_.login)) return false;
    SendBytes(LoginFrame(facts_, registration_.token, version_));
    const auto answer = Read();
    return answer && IsLoggedIn(*answer);
}

bool GatewayRouter::Heartbeat()
{
    SendBytes(HeartbeatFrame(facts_));
    const auto answer = Read();
    return answer && answer->header.msgType == MSG_HEARTBEAT_ACK;
}

void GatewayRouter::SendReport(const std::string &text, uint8_t dataType)
{
    SendBytes(TextReportFrame(facts_, text, dataType));
}

void GatewayRouter::Serve()
{
    server_ = std::thread([this] {
        while (const auto frame = Read(3600)) Answer(*frame);
    });
}

void GatewayRouter::Answer(const ParsedFrame &frame)
{
    if (frame.header.msgType == MSG_ACK || frame.header.msgType == MSG_ACK_MAC) acknowledged_++;
    const auto answer = AnswerFrame(facts_, frame);
    if (!answer) return;
    asked_++;
    SendBytes(*answer);
}

void GatewayRouter::Reply(const ParsedFrame &question, const Bytes &data)
{
    if (const auto answer = AnswerFrame(facts_, question, data)) SendBytes(*answer);
}
