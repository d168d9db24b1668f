#include "tests/e2e/GatewayRouter.h"

#include <cstring>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "platform/SessionFrames.h"

using namespace protocol;

RouterFacts FactsOf(unsigned i)
{
    RouterFacts facts;
    facts.pin = "PIN" + std::to_string(100000000 + i);
    facts.serial = "R" + std::to_string(i);
    facts.key = "key-" + std::to_string(1000000 + i);
    facts.mac = {2, 0, 0, static_cast<uint8_t>(i >> 16), static_cast<uint8_t>(i >> 8), static_cast<uint8_t>(i)};
    return facts;
}

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

void GatewayRouter::Send(uint8_t msgType, uint8_t flag, const Bytes &head, const Bytes &plain)
{
    OutFrame frame;
    frame.msgType = msgType;
    frame.flag = flag;
    frame.head = head;
    frame.hasPlain = !plain.empty();
    frame.plain = plain;
    SendBytes(EncodeFrame(frame, facts_.key));
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
    RegisterRequest request = {};
    PinField(facts_.pin.c_str(), request.pin);
    request.serial = facts_.serial.data();
    request.serialLen = facts_.serial.size();
    request.mac = facts_.mac.data();
    Bytes head(kRegisterHeadSize), record(kMaxRegisterRecord);
    RegisterHeadWrite(request, head.data(), head.size());
    record.resize(RegisterRecordWrite(request, record.data(), record.size()));
    Send(MSG_REGISTER, FLAG_UP, head, record);
    const auto answer = Read();
    RegisterAck ack;
    if (!answer || !RegisterAckRead(answer->plain.data(), answer->plain.size(), &ack)) return false;
    token_.assign(ack.token, ack.token + sizeof ack.token);
    memcpy(login_.octets, ack.server, sizeof ack.server);
    login_.port = ack.port;
    return true;
}

bool GatewayRouter::Login(const std::string &address)
{
    return ParseAddress(address, &login_) && Login();
}

bool GatewayRouter::Login()
{
    if (!Connect(login_)) return false;
    LoginRequest request = {};
    PinField(facts_.pin.c_str(), request.pin);
    memcpy(request.token, token_.data(), std::min(token_.size(), sizeof request.token));
    memcpy(request.version, version_.data(), sizeof request.version);
    Bytes head(kLoginHeadSize), record(kLoginRecordSize);
    LoginHeadWrite(request, head.data(), head.size());
    LoginRecordWrite(request, record.data(), record.size());
    Send(MSG_LOGIN, FLAG_UP, head, record);
    const auto answer = Read();
    int16_t interval;
    return answer && LoginAckRead(answer->plain.data(), answer->plain.size(), &interval);
}

bool GatewayRouter::Heartbeat()
{
    Send(MSG_HEARTBEAT, FLAG_UP, {0, 0, 0, 0}, {});
    const auto answer = Read();
    return answer && answer->header.msgType == MSG_HEARTBEAT_ACK;
}

void GatewayRouter::SendReport(const std::string &text, uint8_t dataType)
{
    Send(MSG_UP, FLAG_UP, {}, InnerRecordBytes(dataType, {}, ToBytes(text)));
}

void GatewayRouter::Serve()
{
    server_ = std::thread([this] {
        while (const auto frame = Read(3600)) Answer(*frame);
    });
}

void GatewayRouter::Answer(const ParsedFrame &frame)
{
    if (frame.header.msgType == MSG_ACK || frame.header.msgType == MSG_ACK_MAC) {
        acknowledged_++;
    } else if (frame.header.msgType == MSG_PLUG_COMMAND) {
        asked_++;
        Send(MSG_ACK, FLAG_ACK, {0, 0}, InnerRecordBytes(frame.dataType, {}, ToBytes("{\"result\":0}")));
    } else if (frame.header.msgType == MSG_FUNCTION_COMMAND && frame.payload.size() >= 4) {
        asked_++;
        Reply(frame, {});
    }
}

void GatewayRouter::Reply(const ParsedFrame &question, const Bytes &data)
{
    Bytes reply(question.payload.begin(), question.payload.begin() + 4); // tag and function
    Append(&reply, {0, 0});
    Append(&reply, data);
    Send(MSG_ACK_MAC, FLAG_ACK, {0, 0}, InnerRecordBytes(question.dataType, facts_.mac, reply));
}
