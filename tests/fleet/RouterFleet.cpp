#include "tests/fleet/RouterFleet.h"

#include <algorithm>
#include <asio/post.hpp>
#include <stdexcept>

#include "tests/fleet/SyntheticRouter.h"

static constexpr std::chrono::milliseconds kTick{10};

// One of the loopback's: 127.1.0.1 for the first.
static protocol::Address LoopbackAddress(unsigned i)
{
    const unsigned number = i + 1;
    protocol::Address address;
    address.octets[1] = static_cast<uint8_t>(1 + (number >> 16));
    address.octets[2] = static_cast<uint8_t>(number >> 8);
    address.octets[3] = static_cast<uint8_t>(number);
    return address;
}

RouterFleet::RouterFleet(const FleetOptions &options) : options_(options), ticked_(FleetClock::now())
{
    if (!protocol::ParseAddress(options.registerAt, &registerAt_))
        throw std::runtime_error("no address to register at");
    for (unsigned i = 0; i < options.routers; i++) {
        RouterFacts facts = FactsOf(i);
        facts.from = LoopbackAddress(i);
        if (!options.key.empty()) facts.key = options.key;
        routers_.push_back(std::make_unique<SyntheticRouter>(*this, facts));
    }
    Pace();
    thread_ = std::thread([this] { context_.run(); });
}

RouterFleet::~RouterFleet()
{
    context_.stop();
    thread_.join();
}

void RouterFleet::LogIn(unsigned atOnce)
{
    asio::post(context_, [this, atOnce] {
        while (started_ < std::min<size_t>(atOnce, routers_.size())) routers_[started_++]->Register();
    });
}

void RouterFleet::CameOnline(bool first)
{
    online_++;
    if (first && started_ < routers_.size()) routers_[started_++]->Register();
}

void RouterFleet::ComeFrom(unsigned addresses)
{
    asio::post(context_, [this, addresses] {
        for (unsigned i = 0; i < routers_.size(); i++)
            routers_[i]->ComeFrom(LoopbackAddress(addresses ? i % addresses : i));
    });
}

SyntheticRouter &RouterFleet::AnyRouter()
{
    std::uniform_int_distribution<size_t> any(0, routers_.size() - 1);
    return *routers_[any(random_)];
}

void RouterFleet::Pace()
{
    const auto now = FleetClock::now();
    const double seconds = std::chrono::duration<double>(now - ticked_).count();
    ticked_ = now;
    for (reportsDue_ += reportRate_ * seconds; reportsDue_ >= 1; reportsDue_--)
        if (SyntheticRouter &router = AnyRouter(); router.IsOnline()) router.Report();
    for (endsDue_ += endRate_ * seconds; endsDue_ >= 1; endsDue_--)
        if (SyntheticRouter &router = AnyRouter(); router.IsOnline()) router.EndSession();
    tick_.expires_after(kTick);
    tick_.async_wait([this](const asio::error_code &error) {
        if (!error) Pace();
    });
}

std::vector<FleetClock::time_point> RouterFleet::LoginsSince(FleetClock::time_point begin) const
{
    std::vector<FleetClock::time_point> logins;
    for (const auto &router : routers_)
        if (router->LoggedInAt() >= begin) logins.push_back(router->LoggedInAt());
    std::sort(logins.begin(), logins.end());
    return logins;
}
