#include "tests/fleet/SyntheticRouter.h"

using asio::ip::tcp;
using namespace protocol;

// As the agent and its supervisor have them.
static constexpr double kPause = 1, kAnswerWait = 10, kProcessPause = 60, kRandomPause = 30;
static constexpr unsigned kAttempts = 2 * 12; // of two servers each
static constexpr size_t kAnswerBytes = 64;    // as many as those of the question for the version have
static constexpr uint8_t kDevices = 5;        // in a report

static tcp::endpoint ToEndpoint(const Address &address)
{
    asio::ip::address_v4::bytes_type octets;
    std::copy_n(address.octets, octets.size(), octets.begin());
    return {asio::ip::address_v4(octets), address.port};
}

SyntheticRouter::SyntheticRouter(RouterFleet &fleet, const RouterFacts &facts)
    : fleet_(fleet), facts_(facts), socket_(fleet.context_), timer_(fleet.context_)
{
}

void SyntheticRouter::After(double seconds, void (SyntheticRouter::*call)())
{
    timer_.expires_after(std::chrono::duration_cast<FleetClock::duration>(std::chrono::duration<double>(seconds)));
    timer_.async_wait([this, call, turn = ++turn_](const asio::error_code &error) {
        if (!error && turn == turn_) (this->*call)();
    });
}

void SyntheticRouter::CallNothing()
{
    turn_++; // a call that is due already cannot be cancelled any more
    timer_.cancel();
}

void SyntheticRouter::Close()
{
    CallNothing();
    asio::error_code error;
    socket_.close(error);
    connection_++;
    cutter_ = FrameCutter();
    if (state_ == State::Online) fleet_.online_--;
    state_ = State::Resting;
}

void SyntheticRouter::Connect(const Address &address, const Bytes &frame)
{
    asio::error_code error;
    socket_.open(tcp::v4(), error);
    if (!error) socket_.bind(ToEndpoint(facts_.from), error);
    if (error) {
        fleet_.counts_.unreachable++;
        return Failed();
    }
    socket_.async_connect(ToEndpoint(address),
                          [this, frame, connection = connection_](const asio::error_code &refused) {
                              if (connection != connection_) return;
                              if (refused) {
                                  fleet_.counts_.unreachable++;
                                  return Failed();
                              }
                              asio::error_code none;
                              socket_.non_blocking(true, none);
                              socket_.set_option(tcp::no_delay(true), none);
                              WaitReadable();
                              After(kAnswerWait, &SyntheticRouter::NoAnswer);
                              Send(frame);
                          });
}

void SyntheticRouter::Send(const Bytes &bytes)
{
    // Some hundred bytes always fit, unless nobody has read for long.
    asio::error_code error;
    if (socket_.write_some(asio::buffer(bytes), error) != bytes.size())
        socket_.shutdown(tcp::socket::shutdown_both, error);
}

void SyntheticRouter::WaitReadable()
{
    socket_.async_wait(tcp::socket::wait_read, [this, connection = connection_](const asio::error_code &error) {
        if (!error && connection == connection_) Read();
    });
}

void SyntheticRouter::Read()
{
    const uint64_t connection = connection_;
    asio::error_code error;
    const size_t size = socket_.read_some(asio::buffer(fleet_.scratch_), error);
    if (error && error != asio::error::would_block) {
        if (state_ == State::Registered) return; // it is told, and closes only after its pause
        if (state_ == State::Registering) fleet_.counts_.refused++;
        if (state_ == State::LoggingIn) fleet_.counts_.loginsFailed++;
        if (state_ == State::Online) fleet_.counts_.lost++;
        return Failed();
    }
    cutter_.Push(fleet_.scratch_.data(), size);
    Bytes raw;
    std::string problem;
    while (connection == connection_ && cutter_.Pop(&raw, &problem)) Arrived(ParseFrame(raw, facts_.key, false));
    if (connection == connection_) WaitReadable();
}

void SyntheticRouter::NoAnswer()
{
    fleet_.counts_.unanswered++;
    Failed();
}

void SyntheticRouter::Failed()
{
    const State failed = state_;
    Close();
    if (failed == State::Registering && ++attempts_ >= kAttempts) {
        attempts_ = 0;
        fleet_.counts_.gaveUp++;
        std::uniform_real_distribution<double> random(0, kRandomPause);
        return After(kPause + kProcessPause + random(fleet_.random_), &SyntheticRouter::Register);
    }
    After(kPause, &SyntheticRouter::Register);
}

void SyntheticRouter::Register()
{
    Close();
    state_ = State::Registering;
    Connect(fleet_.registerAt_, RegisterFrame(facts_));
}

void SyntheticRouter::Login()
{
    Close();
    state_ = State::LoggingIn;
    Connect(registration_.login, LoginFrame(facts_, registration_.token));
}

void SyntheticRouter::LoggedIn()
{
    state_ = State::Online;
    attempts_ = 0;
    loggedInAt_ = FleetClock::now().time_since_epoch().count();
    fleet_.counts_.loggedIn++;
    const bool first = !pauses_;
    pauses_ = true;
    fleet_.counts_.reports++;
    Send(TextReportFrame(facts_, R"({"MAC":")" + ToHex(facts_.mac) + R"("})"));
    fleet_.counts_.heartbeats++;
    Send(HeartbeatFrame(facts_));
    // Those that log in together would have their heartbeats together, too.
    std::uniform_real_distribution<double> spread(0, fleet_.options_.interval);
    After(spread(fleet_.random_), &SyntheticRouter::Heartbeat);
    fleet_.CameOnline(first);
}

void SyntheticRouter::Heartbeat()
{
    fleet_.counts_.heartbeats++;
    After(fleet_.options_.interval, &SyntheticRouter::Heartbeat);
    Send(HeartbeatFrame(facts_));
}

void SyntheticRouter::Report()
{
    fleet_.counts_.reports++;
    Send(DeviceListFrame(facts_, ++sequence_, kDevices));
}

void SyntheticRouter::Arrived(const ParsedFrame &frame)
{
    const uint8_t msgType = frame.header.msgType;
    if (state_ == State::Registering && msgType == MSG_SESSION_ACK) {
        const auto registration = ReadRegistration(frame);
        if (!registration) { // the agent waits its time for a better one
            fleet_.counts_.refused++;
            return;
        }
        registration_ = *registration;
        fleet_.counts_.registered++;
        state_ = State::Registered;
        if (pauses_) return After(kPause, &SyntheticRouter::Login);
        return Login();
    }
    if (state_ == State::LoggingIn && msgType == MSG_SESSION_ACK) {
        if (IsLoggedIn(frame)) return LoggedIn();
        fleet_.counts_.loginsFailed++;
        return Failed();
    }
    if (state_ != State::Online) return;
    if (msgType == MSG_HEARTBEAT_ACK) fleet_.counts_.heartbeatsAnswered++;
    if (msgType == MSG_ACK || msgType == MSG_ACK_MAC) fleet_.counts_.reportsAcknowledged++;
    if (const auto answer = AnswerFrame(facts_, frame, Bytes(kAnswerBytes))) {
        fleet_.counts_.asked++;
        Send(*answer);
    }
}
