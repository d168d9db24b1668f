#include "gateway/session/Session.h"

#include <algorithm>
#include <spdlog/spdlog.h>

#include "core/Wire.h"
#include "platform/SessionFrames.h"
#include "protocol/Decoder.h"
#include "protocol/FunctionLayouts.h"

namespace gateway
{

using namespace protocol;

namespace
{
constexpr uint16_t kRateReport = 62;      // arrives like a reply, with a tag that no question has
constexpr size_t kMinReply = 6;           // tag, function, status
constexpr int kSilentIntervals = 3;       // as the router itself counts
constexpr int kShortestInterval = 20;     // seconds; a router takes no shorter one
const Bytes kRefused = {1, 0};            // the error code of every refusal: who asks learns nothing from it
constexpr char kNobody[] = "no such key"; // decrypts for a PIN that is unknown, so that it takes the same time

// How a session ends.
struct End {
    const char *cause;
    Figure Counters::*figure;
};
constexpr End kEnds[] = {
    {"router", &Counters::endedByRouter}, {"silent", &Counters::endedSilent},     {"slow", &Counters::endedSlow},
    {"bad_frame", &Counters::endedBad},   {"replaced", &Counters::endedReplaced}, {"drain", &Counters::endedDrain},
    {"locked", &Counters::endedLocked},   {"removed", &Counters::endedRemoved},   {"new_key", &Counters::endedNewKey},
};
} // namespace

static std::string PinOf(const Bytes &raw, size_t offset)
{
    const auto at = raw.begin() + static_cast<std::ptrdiff_t>(kFrameHeaderSize + offset);
    return FieldText(Bytes(at, at + kPinHeadSize));
}

static bool Good(const ParsedFrame &frame)
{
    return frame.checksumOk && frame.problems.empty();
}

Session::Session(World &world, Outlet &outlet, Role role, uint64_t id, const Address &peer, Clock::time_point now)
    : world_(world), settings_(world.Settings()), count_(world.Count()), outlet_(outlet), role_(role), id_(id),
      peer_(peer), deadline_(now + std::chrono::seconds(settings_.halfOpenSeconds))
{
    count_.halfOpen.Add();
}

void Session::LeaveHalfOpen(State state)
{
    if (state_ == State::HalfOpen) count_.halfOpen.Add(-1);
    state_ = state;
}

void Session::Received(const uint8_t *data, size_t size, Clock::time_point now)
{
    count_.bytesIn.Add(static_cast<int64_t>(size));
    cutter_.Push(data, size);
    Bytes raw;
    std::string problem;
    while (state_ != State::Over && cutter_.Pop(&raw, &problem)) {
        if (!problem.empty()) break;
        count_.framesIn.Add();
        Frame(raw, now);
    }
    if (state_ == State::Over) return;
    if (!problem.empty()) { // TCP loses nothing: this is no agent
        count_.framesBad.Add();
        outlet_.End("bad_frame");
    } else if (cutter_.Left() == 0) {
        cutter_ = FrameCutter(); // gives its memory back
    }
}

void Session::Frame(const Bytes &raw, Clock::time_point now)
{
    const uint8_t msgType = raw[2] & 0x1f;
    const size_t head = raw[3];
    if (state_ == State::Online) return OnlineFrame(raw, now);
    const bool expected =
        state_ == State::HalfOpen && (role_ == Role::Registration ? msgType == MSG_REGISTER && head == kRegisterHeadSize
                                                                  : msgType == MSG_LOGIN && head == kLoginHeadSize);
    if (!expected) {
        count_.framesBad.Add();
        outlet_.End("bad_frame");
    } else if (role_ == Role::Registration) {
        Register(raw, now);
    } else {
        Login(raw, now);
    }
}

void Session::SendFrame(uint8_t msgType, const Bytes &head, const Bytes &record)
{
    OutFrame frame;
    frame.msgType = msgType;
    frame.flag = FLAG_ACK;
    frame.head = head;
    frame.hasPlain = !record.empty();
    frame.plain = record;
    count_.framesOut.Add();
    outlet_.Send(EncodeFrame(frame, key_));
}

void Session::Heard(Clock::time_point now)
{
    deadline_ = now + kSilentIntervals * std::chrono::seconds(std::max(settings_.interval, kShortestInterval));
}

// ---- Registration and login

void Session::Refuse(const char *what, const std::string &pin, const char *why, Figure *figure)
{
    figure->Add();
    spdlog::warn("{} refused: pin={} address={} why=\"{}\"", what, PinForLog(pin), AddressText(peer_), why);
    SendFrame(MSG_SESSION_ACK, kRefused);
}

void Session::Register(const Bytes &raw, Clock::time_point now)
{
    const std::string pin = PinOf(raw, 3);
    LeaveHalfOpen(State::Registered); // refused or not, it gets the same time: routers wait before they try again
    deadline_ = now + std::chrono::seconds(settings_.halfOpenSeconds);
    if (!world_.MayRegister(peer_)) {
        count_.registrationLimited.Add();
        return outlet_.End("refused");
    }
    const std::optional<Device> device = world_.FindPin(pin);
    key_ = device ? device->key : kNobody;
    const ParsedFrame frame = ParseFrame(raw, key_, true);
    RegisterRequest request;
    if (!device) return Refuse("registration", pin, "unknown PIN", &count_.registrationUnknown);
    if (!Good(frame) ||
        !RegisterRequestRead(frame.head.data(), frame.head.size(), frame.plain.data(), frame.plain.size(), &request))
        return Refuse("registration", pin, "damaged, or another key", &count_.registrationBad);
    if (device->locked) return Refuse("registration", pin, "locked", &count_.registrationLocked);
    if (device->serial != std::string(request.serial, request.serialLen))
        return Refuse("registration", pin, "another serial number", &count_.registrationSerial);

    count_.registered.Add();
    world_.Registered(device->serial, peer_);
    std::copy_n(request.mac, mac_.size(), mac_.begin());
    RegisterAck ack = {};
    const TokenBytes token = MakeToken(settings_.secret, pin, device->serial, mac_, world_.WallSeconds());
    std::copy(token.begin(), token.end(), ack.token);
    const Address login = world_.LoginServer(device->serial);
    std::copy_n(login.octets, sizeof ack.server, ack.server);
    ack.port = login.port;
    std::copy_n(settings_.pluginId.data(), std::min(settings_.pluginId.size(), sizeof ack.pluginId), ack.pluginId);
    Bytes record(kRegisterAckSize);
    record.resize(RegisterAckWrite(ack, record.data(), record.size()));
    SendFrame(MSG_SESSION_ACK, {}, record);
}

void Session::Login(const Bytes &raw, Clock::time_point now)
{
    const std::string pin = PinOf(raw, 0);
    const std::optional<Device> device = world_.FindPin(pin);
    key_ = device ? device->key : kNobody;
    const ParsedFrame frame = ParseFrame(raw, key_, true);
    LoginRequest request;
    const auto refuse = [&](const char *why, Figure *figure) {
        Refuse("login", pin, why, figure);
        outlet_.End("refused");
    };
    if (!device || device->locked) return refuse(device ? "locked" : "unknown PIN", &count_.loginUnknown);
    if (!Good(frame) ||
        !LoginRequestRead(frame.head.data(), frame.head.size(), frame.plain.data(), frame.plain.size(), &request))
        return refuse("damaged, or another key", &count_.loginBad);
    TokenBytes token;
    std::copy_n(request.token, token.size(), token.begin());
    if (!CheckToken(settings_.secret, pin, device->serial, token, world_.WallSeconds(), settings_.tokenLife, &mac_))
        return refuse("no token of ours, or an old one", &count_.loginToken);

    LeaveHalfOpen(State::Online);
    serial_ = device->serial;
    version_ = VersionText(request);
    since_ = world_.WallSeconds();
    Heard(now);
    count_.loggedIn.Add();
    count_.sessions.Add();
    Bytes record(kLoginAckSize);
    record.resize(LoginAckWrite(static_cast<int16_t>(settings_.interval), record.data(), record.size()));
    world_.Online(*this); // first: whoever sees the router logged in can ask it
    // Who has locked or removed the device meanwhile, or given it a key, has not found this session.
    const std::string barred = WhyBarred(world_.FindPin(pin), key_);
    if (!barred.empty()) return outlet_.End(barred);
    SendFrame(MSG_SESSION_ACK, {}, record);
}

// ---- Logged in

void Session::OnlineFrame(const Bytes &raw, Clock::time_point now)
{
    const ParsedFrame frame = ParseFrame(raw, key_, true);
    if (!Good(frame)) {
        count_.framesBad.Add();
        return;
    }
    Heard(now);
    switch (frame.header.msgType) {
    case MSG_HEARTBEAT:
        count_.heartbeats.Add();
        SendFrame(MSG_HEARTBEAT_ACK, {});
        break;
    case MSG_UP:
    case MSG_UP_MAC: Upload(frame); break;
    case MSG_ACK: PluginAnswer(frame, now); break;
    case MSG_ACK_MAC: Reply(frame, now); break;
    default: // a second registration or login on the same connection
        count_.framesBad.Add();
        outlet_.End("bad_frame");
    }
}

void Session::Upload(const ParsedFrame &frame)
{
    if (outstanding_ >= settings_.reportsOutstanding) {
        count_.reportsRefused.Add();
        return;
    }
    outstanding_++;
    world_.Store(*this, ++reports_, frame.header.msgType,
                 MakeReport(frame.header.msgType, frame.dataType, frame.payload));
}

void Session::ReportStored(uint8_t msgType, bool stored)
{
    if (outstanding_ > 0) outstanding_--;
    if (state_ != State::Online || !stored || msgType == MSG_ACK_MAC) return;
    // Without a body: an agent would carry out one whose data type is that of a command.
    SendFrame(msgType == MSG_UP ? MSG_ACK : MSG_ACK_MAC, {0, 0});
}

void Session::Reply(const ParsedFrame &frame, Clock::time_point now)
{
    WireReader reader = WireRead(frame.payload.data(), frame.payload.size());
    const uint16_t tag = WireGetLe16(&reader), function = WireGetLe16(&reader);
    const bool reply = frame.hasRecord && frame.head == Bytes{0, 0} && frame.payload.size() >= kMinReply;
    if (reply && function == kRateReport) return Upload(frame);
    const std::optional<Asked> asked = reply ? questions_.Replied(tag, function) : std::nullopt;
    if (!asked) {
        count_.repliesUnmatched.Add();
        return;
    }
    count_.asked.Add();
    Finish(*asked, AnswerJson(function, frame.payload), now);
    AskNext(now);
}

void Session::PluginAnswer(const ParsedFrame &frame, Clock::time_point now)
{
    const std::optional<Asked> asked = frame.hasRecord ? questions_.Answered(frame.dataType) : std::nullopt;
    if (!asked) {
        count_.repliesUnmatched.Add();
        return;
    }
    WireReader reader = WireRead(frame.head.data(), frame.head.size());
    const auto result = static_cast<int16_t>(WireGetLe16(&reader));
    count_.asked.Add();
    Finish(*asked, ResultJson(asked->name, frame.dataType, result), now);
    AskNext(now);
}

// ---- Questions

void Session::Ask(Asked asked, Clock::time_point now)
{
    asked.limit = std::chrono::seconds(asked.plugin ? settings_.commandSeconds : settings_.questionSeconds);
    const auto answer = asked.answer;
    if (!questions_.Add(std::move(asked), settings_.questionsWaiting)) {
        count_.askedBusy.Add();
        answer(FaultJson({"busy", "too many questions wait for this router"}));
        return;
    }
    count_.questionsWaiting.Add();
    AskNext(now);
}

void Session::AskNext(Clock::time_point now)
{
    while (const Asked *asked = questions_.Next(now)) {
        if (asked->plugin) {
            SendFrame(MSG_PLUG_COMMAND, {},
                      InnerRecordBytes(asked->command.dataType, {}, ToBytes(asked->command.text)));
        } else {
            const Question &question = asked->question;
            Bytes payload(kRequestHeader);
            WireWriter writer = WireWrite(payload.data(), payload.size());
            WirePutLe16(&writer, asked->tag);
            WirePutLe16(&writer, question.function);
            Append(&payload, question.parameters);
            SendFrame(MSG_FUNCTION_COMMAND, {},
                      InnerRecordBytes(static_cast<uint8_t>(question.function), {mac_.begin(), mac_.end()}, payload));
        }
        if (state_ != State::Online) return; // sending has ended it
        if (const std::optional<Asked> sent = questions_.Sent()) {
            count_.asked.Add();
            Finish(*sent, SentJson(sent->question.function), now);
        }
    }
}

void Session::Finish(const Asked &asked, Json answer, Clock::time_point now)
{
    count_.questionsWaiting.Add(-1);
    const auto us = std::chrono::duration_cast<std::chrono::microseconds>(now - asked.arrived).count();
    answer["ms"] = static_cast<double>(us) / 1000;
    if (answer.value("ok", false)) count_.questions.Observe(static_cast<double>(us) / 1e6);
    asked.answer(answer);
}

void Session::Tick(Clock::time_point now)
{
    if (state_ == State::Online) {
        if (const std::optional<Asked> late = questions_.Expired(now)) {
            count_.askedNoAnswer.Add();
            Finish(*late, FaultJson({"no_answer", "the router has not answered in time"}), now);
            AskNext(now);
        }
        if (state_ == State::Online && now >= drainAt_) return outlet_.End("drain");
    }
    if (state_ == State::Over || now < deadline_) return;
    if (state_ == State::HalfOpen && role_ == Role::Login) count_.loginTimeout.Add();
    outlet_.End(state_ == State::Online ? "silent" : state_ == State::Registered ? "done" : "timeout");
}

void Session::Ended(const std::string &cause)
{
    const bool online = state_ == State::Online;
    LeaveHalfOpen(State::Over);
    if (!online) return;
    count_.sessions.Add(-1);
    for (const End &end : kEnds)
        if (cause == end.cause) (count_.*end.figure).Add();
    for (const Asked &asked : questions_.Close()) {
        count_.questionsWaiting.Add(-1);
        count_.askedOffline.Add();
        asked.answer(FaultJson({"offline", "the router's session has ended before its answer"}));
    }
    world_.Offline(*this, cause);
}

} // namespace gateway
