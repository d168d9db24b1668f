// SyntheticRouter.h - one router of a fleet: what it does when.
// State: one connection. Threads: its fleet's; LoggedInAt any.
#pragma once

#include <asio/ip/tcp.hpp>
#include <asio/steady_timer.hpp>

#include "tests/fleet/RouterFleet.h"

class SyntheticRouter
{
  public:
    SyntheticRouter(RouterFleet &fleet, const RouterFacts &facts);

    void Register();
    void Report();
    // Loses its session, and comes back.
    void EndSession() { Failed(); }
    void ComeFrom(const protocol::Address &address) { facts_.from = address; }
    bool IsOnline() const { return state_ == State::Online; }
    FleetClock::time_point LoggedInAt() const { return FleetClock::time_point(FleetClock::duration(loggedInAt_)); }
    void Close();

  private:
    enum class State { Resting, Registering, Registered, LoggingIn, Online };
    void Connect(const protocol::Address &address, const protocol::Bytes &frame);
    void Send(const protocol::Bytes &bytes);
    void WaitReadable();
    void Read();
    void Arrived(const protocol::ParsedFrame &frame);
    void Login();
    void LoggedIn();
    void Heartbeat();
    // Nothing has come in time.
    void NoAnswer();
    // The connection has ended, or did not come to be.
    void Failed();
    // One call at a time: a later one takes the place of one before, CallNothing too.
    void After(double seconds, void (SyntheticRouter::*call)());
    void CallNothing();

    RouterFleet &fleet_;
    RouterFacts facts_;
    State state_ = State::Resting;
    asio::ip::tcp::socket socket_;
    asio::steady_timer timer_;
    uint64_t turn_ = 0;       // of the calls of After()
    uint64_t connection_ = 0; // counts them, so that what an earlier one has waited for is told apart
    Registration registration_;
    protocol::FrameCutter cutter_;
    unsigned attempts_ = 0; // failed registrations in a row
    uint16_t sequence_ = 0;
    bool pauses_ = false; // it has been online before
    std::atomic<FleetClock::rep> loggedInAt_{0};
};
