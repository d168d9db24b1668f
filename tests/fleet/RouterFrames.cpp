#include "tests/fleet/RouterFrames.h"

#include <algorithm>
#include <cstring>

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

std::string DevicesCsv(unsigned count)
{
    std::string csv = "pin,key,serial\n";
    for (unsigned i = 0; i < count; i++) {
        const RouterFacts facts = FactsOf(i);
        csv += facts.pin + "," + facts.key + "," + facts.serial + "\n";
    }
    return csv;
}

Bytes RouterFrame(const RouterFacts &facts, uint8_t msgType, uint8_t flag, const Bytes &head, const Bytes &plain)
{
    OutFrame frame;
    frame.msgType = msgType;
    frame.flag = flag;
    frame.head = head;
    frame.hasPlain = !plain.empty();
    frame.plain = plain;
    return EncodeFrame(frame, facts.key);
}

Bytes RegisterFrame(const RouterFacts &facts)
{
    RegisterRequest request = {};
    PinField(facts.pin.c_str(), request.pin);
    request.serial = facts.serial.data();
    request.serialLen = facts.serial.size();
    request.mac = facts.mac.data();
    Bytes head(kRegisterHeadSize), record(kMaxRegisterRecord);
    RegisterHeadWrite(request, head.data(), head.size());
    record.resize(RegisterRecordWrite(request, record.data(), record.size()));
    return RouterFrame(facts, MSG_REGISTER, FLAG_UP, head, record);
}

std::optional<Registration> ReadRegistration(const ParsedFrame &answer)
{
    RegisterAck ack;
    if (!RegisterAckRead(answer.plain.data(), answer.plain.size(), &ack)) return std::nullopt;
    Registration registration;
    registration.token.assign(ack.token, ack.token + sizeof ack.token);
    memcpy(registration.login.octets, ack.server, sizeof ack.server);
    registration.login.port = ack.port;
    return registration;
}

Bytes LoginFrame(const RouterFacts &facts, const Bytes &token, const RouterVersion &version)
{
    LoginRequest request = {};
    PinField(facts.pin.c_str(), request.pin);
    memcpy(request.token, token.data(), std::min(token.size(), sizeof request.token));
    memcpy(request.version, version.data(), sizeof request.version);
    Bytes head(kLoginHeadSize), record(kLoginRecordSize);
    LoginHeadWrite(request, head.data(), head.size());
    LoginRecordWrite(request, record.data(), record.size());
    return RouterFrame(facts, MSG_LOGIN, FLAG_UP, head, record);
}

bool IsLoggedIn(const ParsedFrame &answer)
{
    int16_t interval;
    return LoginAckRead(answer.plain.data(), answer.plain.size(), &interval);
}

Bytes HeartbeatFrame(const RouterFacts &facts)
{
    return RouterFrame(facts, MSG_HEARTBEAT, FLAG_UP, {0, 0, 0, 0}, {});
}

Bytes TextReportFrame(const RouterFacts &facts, const std::string &text, uint8_t dataType)
{
    return RouterFrame(facts, MSG_UP, FLAG_UP, {}, InnerRecordBytes(dataType, {}, ToBytes(text)));
}

Bytes DeviceListFrame(const RouterFacts &facts, uint16_t sequence, uint8_t devices)
{
    constexpr uint8_t kList = 63;
    const auto low = [](int number) { return static_cast<uint8_t>(number); };
    Bytes payload = {low(sequence), low(sequence >> 8), kList, 0, 0, 0, devices, 0};
    for (uint8_t i = 0; i < devices; i++) {
        Append(&payload, {low(10 + i), 1, 168, 192}); // 192.168.1.x
        Append(&payload, {2, 0, 1, 0, 0, i});
        Bytes rest(16 + 8 + 8, 0); // its name and two counters
        const std::string name = "device-" + std::to_string(i);
        std::copy(name.begin(), name.end(), rest.begin());
        Append(&payload, rest);
        Append(&payload, {1, 1, 1}); // connected, not on the black list, allowed
    }
    return RouterFrame(facts, MSG_UP_MAC, FLAG_UP, {}, InnerRecordBytes(kList, facts.mac, payload));
}

std::optional<Bytes> AnswerFrame(const RouterFacts &facts, const ParsedFrame &frame, const Bytes &data)
{
    if (frame.header.msgType == MSG_PLUG_COMMAND)
        return RouterFrame(facts, MSG_ACK, FLAG_ACK, {0, 0},
                           InnerRecordBytes(frame.dataType, {}, ToBytes("{\"result\":0}")));
    if (frame.header.msgType != MSG_FUNCTION_COMMAND || frame.payload.size() < 4) return std::nullopt;
    Bytes reply(frame.payload.begin(), frame.payload.begin() + 4); // tag and function
    Append(&reply, {0, 0});
    Append(&reply, data);
    return RouterFrame(facts, MSG_ACK_MAC, FLAG_ACK, {0, 0}, InnerRecordBytes(frame.dataType, facts.mac, reply));
}
