// Session.h - the conversation with one router on one connection: registration, or login and all that follows.
//
// It sees bytes and the time, nothing else: no socket, no clock. Nothing that a router sends makes it wait, and nothing
// that a router sends, but a right login, makes it keep more than one frame.
//
// Causes of an end: router (it has closed), silent, slow, bad_frame, replaced, drain, locked, removed, new_key; and
// of one that never was online: timeout, refused, done.
//
// State: one conversation. Threads: its shard's.
#pragma once

#include "gateway/question/Questions.h"
#include "gateway/session/Token.h"
#include "gateway/session/World.h"
#include "protocol/FrameCodec.h"

namespace gateway
{

class Session
{
  public:
    enum class Role { Registration, Login };

    Session(World &world, Outlet &outlet, Role role, uint64_t id, const protocol::Address &peer, Clock::time_point now);

    // Bytes have come.
    void Received(const uint8_t *data, size_t size, Clock::time_point now);
    // Some time has passed; call it several times a second.
    void Tick(Clock::time_point now);
    // The connection has ended.
    void Ended(const std::string &cause);

    // Puts a question; it is answered in any case. Only when IsOnline().
    void Ask(Asked asked, Clock::time_point now);
    // A report of Store is in the stream, or is not.
    void ReportStored(uint8_t msgType, bool stored);
    // Ends it at this time, for others to take the router over.
    void DrainAt(Clock::time_point when) { drainAt_ = when; }

    bool IsOnline() const { return state_ == State::Online; }
    uint64_t Id() const { return id_; }
    const std::string &Serial() const { return serial_; }
    const std::string &Version() const { return version_; }
    const protocol::Address &Peer() const { return peer_; }
    std::string MacText() const { return protocol::MacText({mac_.begin(), mac_.end()}); }
    int64_t Since() const { return since_; } // seconds since the epoch

  private:
    enum class State { HalfOpen, Registered, Online, Over };

    void Frame(const protocol::Bytes &raw, Clock::time_point now);
    void Register(const protocol::Bytes &raw, Clock::time_point now);
    void Login(const protocol::Bytes &raw, Clock::time_point now);
    void Refuse(const char *what, const std::string &pin, const char *why, Figure *figure);
    void OnlineFrame(const protocol::Bytes &raw, Clock::time_point now);
    void Upload(const protocol::ParsedFrame &frame);
    void Reply(const protocol::ParsedFrame &frame, Clock::time_point now);
    void PluginAnswer(const protocol::ParsedFrame &frame, Clock::time_point now);
    void AskNext(Clock::time_point now);
    void Finish(const Asked &asked, Json answer, Clock::time_point now);
    void SendFrame(uint8_t msgType, const protocol::Bytes &head, const protocol::Bytes &record = {});
    void LeaveHalfOpen(State state);
    void Heard(Clock::time_point now);

    World &world_;
    const SessionSettings &settings_;
    Counters &count_;
    Outlet &outlet_;
    const Role role_;
    State state_ = State::HalfOpen;
    const uint64_t id_;
    const protocol::Address peer_;
    protocol::FrameCutter cutter_;
    Clock::time_point deadline_; // of the half-open state; afterwards of silence
    Clock::time_point drainAt_ = Clock::time_point::max();
    std::string key_, serial_, version_;
    Mac mac_{};
    int64_t since_ = 0;
    uint64_t reports_ = 0;
    size_t outstanding_ = 0; // reports that are being stored
    Questions questions_;
};

} // namespace gateway
