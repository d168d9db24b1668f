#include "simulator/platform/Conversation.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "core/Wire.h"
#include "protocol/Decoder.h"

namespace sim
{

static void CopyField(uint8_t *field, size_t size, const std::string &text)
{
    memset(field, 0, size);
    memcpy(field, text.data(), std::min(size, text.size()));
}

static std::string NewToken(const ConversationSettings &settings, unsigned number)
{
    if (!settings.token.empty()) return settings.token.substr(0, kTokenSize);
    char token[kTokenSize + 1];
    snprintf(token, sizeof token, "token-%08u", number);
    return token;
}

static OutFrame SessionAck(Step step, Bytes record)
{
    OutFrame answer;
    answer.step = step;
    answer.msgType = MSG_SESSION_ACK;
    answer.flag = FLAG_ACK;
    answer.hasPlain = true;
    answer.plain = std::move(record);
    return answer;
}

static std::vector<OutFrame> AnswerRegister(const ParsedFrame &frame, const ConversationSettings &settings,
                                            const Address &login, Peer *peer, Registrations *registrations)
{
    RegisterRequest request;
    if (!RegisterRequestRead(frame.head.data(), frame.head.size(), frame.plain.data(), frame.plain.size(), &request))
        return {};
    peer->registered = true;
    peer->serial.assign(request.serial, request.serialLen);
    peer->mac.assign(request.mac, request.mac + kMacSize);
    peer->pin = FieldText(Bytes(request.pin, request.pin + kPinHeadSize));

    const std::string token = NewToken(settings, ++registrations->count);
    const auto known = registrations->byToken.find(token);
    if (known != registrations->byToken.end() && known->second.mac != peer->mac) registrations->shared.insert(token);
    registrations->byToken[token] = {peer->serial, peer->mac};

    RegisterAck ack;
    CopyField(ack.token, sizeof ack.token, token);
    CopyField(ack.pluginId, sizeof ack.pluginId, settings.pluginId);
    memcpy(ack.server, login.octets, sizeof ack.server);
    ack.port = login.port;
    Bytes record(kRegisterAckSize);
    record.resize(RegisterAckWrite(ack, record.data(), record.size()));
    return {SessionAck(STEP_REGISTER, record)};
}

static std::vector<OutFrame> AnswerLogin(const ParsedFrame &frame, const ConversationSettings &settings, Peer *peer,
                                         const Registrations &registrations)
{
    LoginRequest request;
    if (!LoginRequestRead(frame.head.data(), frame.head.size(), frame.plain.data(), frame.plain.size(), &request))
        return {};
    peer->loggedIn = true;
    peer->pin = FieldText(Bytes(request.pin, request.pin + kPinHeadSize));
    const std::string token = FieldText(Bytes(request.token, request.token + kTokenSize));
    const auto known = registrations.byToken.find(token);
    peer->token = token;
    peer->version = VersionText(request);
    peer->tokenOk = known != registrations.byToken.end();
    if (peer->tokenOk) {
        peer->serial = known->second.serial;
        peer->mac = known->second.mac;
        peer->macSure = registrations.shared.count(token) == 0;
    }
    Bytes record(kLoginAckSize);
    record.resize(LoginAckWrite(static_cast<int16_t>(settings.interval), record.data(), record.size()));
    return {SessionAck(STEP_LOGIN, record)};
}

// An agent passes the text of an upload's acknowledgement to its plugin commands; one of them reads "result".
static OutFrame UploadAck(const ParsedFrame &frame)
{
    OutFrame answer;
    answer.step = STEP_UPLOAD;
    answer.msgType = frame.header.msgType == MSG_UP ? MSG_ACK : MSG_ACK_MAC;
    answer.flag = FLAG_ACK;
    answer.head = {0, 0};
    answer.hasPlain = true;
    answer.plain = InnerRecordBytes(frame.dataType, frame.mac, ToBytes("{\"result\":0}"));
    return answer;
}

static OutFrame HeartbeatAck()
{
    OutFrame answer;
    answer.step = STEP_HEARTBEAT;
    answer.msgType = MSG_HEARTBEAT_ACK;
    answer.flag = FLAG_ACK;
    return answer;
}

std::vector<OutFrame> Answer(const ParsedFrame &frame, const ConversationSettings &settings, const Address &login,
                             Peer *peer, Registrations *registrations)
{
    if (!frame.checksumOk || !frame.problems.empty()) return {};
    switch (frame.header.msgType) {
    case MSG_REGISTER: return AnswerRegister(frame, settings, login, peer, registrations);
    case MSG_LOGIN: return AnswerLogin(frame, settings, peer, *registrations);
    case MSG_HEARTBEAT:
        if (settings.ackHeartbeats) return {HeartbeatAck()};
        return {};
    case MSG_UP:
    case MSG_UP_MAC:
        if (settings.ackUploads) return {UploadAck(frame)};
        return {};
    default: return {};
    }
}

Step StepOf(uint8_t msgType)
{
    switch (msgType) {
    case MSG_REGISTER: return STEP_REGISTER;
    case MSG_LOGIN: return STEP_LOGIN;
    case MSG_HEARTBEAT: return STEP_HEARTBEAT;
    case MSG_UP:
    case MSG_UP_MAC: return STEP_UPLOAD;
    default: return STEP_COMMAND;
    }
}

// ---- Received frames

// Reports arrive as replies too, with a tag that no request had: no match, and no error.
static void PairWithRequest(ParsedFrame *frame, Peer *peer, int64_t nowMs, Fields *fields)
{
    if (!FindField(*fields, "tag")) return;
    WireReader r = WireRead(frame->payload.data(), frame->payload.size());
    const uint16_t tag = WireGetLe16(&r);
    const uint16_t function = WireGetLe16(&r);
    const auto request = peer->waiting.find(tag);
    fields->push_back(FlagField("matched", request != peer->waiting.end()));
    if (request == peer->waiting.end()) return;
    fields->push_back(NumberField("latency_ms", nowMs - request->second.sentMs, "ms"));
    if (request->second.function != function)
        frame->problems.push_back("the reply names function " + std::to_string(function) + ", asked was " +
                                  std::to_string(request->second.function));
    peer->waiting.erase(request);
}

Fields DescribeArrival(ParsedFrame *frame, Peer *peer, int64_t nowMs)
{
    Fields fields = DescribeFrame(frame, STEP_COMMAND);
    if (frame->checksumOk && frame->header.msgType == MSG_ACK_MAC) PairWithRequest(frame, peer, nowMs, &fields);
    if (frame->hasRecord && !frame->mac.empty() && peer->macSure && frame->mac != peer->mac)
        frame->problems.push_back("the MAC is not the registered " + MacText(peer->mac));
    if (!frame->problems.empty()) fields.push_back(ListField("problems", frame->problems));
    return fields;
}

} // namespace sim
