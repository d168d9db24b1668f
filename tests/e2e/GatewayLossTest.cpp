// Nothing that a router was told is stored gets lost, or is stored twice, when what stores it dies.
#include <algorithm>
#include <atomic>
#include <csignal>
#include <map>
#include <thread>
#include <unistd.h>

#include "platform/Frame.h"
#include "tests/e2e/Gateway.h"
#include "tests/support/Within.h"

using gateway::Json;

namespace
{
constexpr unsigned kRouters = 100;
constexpr unsigned kReports = 100; // of each
constexpr unsigned kAtOnce = 5;

// Sends numbered reports, some at once, and never one again: what was not acknowledged when the session ends is given up.
class Reporter
{
  public:
    struct Burst {
        unsigned first, acknowledged;
    };

    Reporter(unsigned number, std::vector<std::string> gateways)
        : number_(number), gateways_(std::move(gateways)), router_(FactsOf(number)), thread_([this] { Run(); })
    {
    }
    ~Reporter()
    {
        stop_ = true;
        thread_.join();
    }
    bool Ended() const { return ended_; }
    unsigned Acknowledged() const { return acknowledged_; }
    const std::vector<Burst> &Bursts() const { return bursts_; } // once it has ended

  private:
    void Run()
    {
        for (unsigned first = 0; first < kReports && !stop_; first += kAtOnce) {
            while (!online_ && !stop_) {
                tries_++;
                online_ = router_.Register(gateways_[(number_ + tries_) % gateways_.size()]) && router_.Login();
                if (!online_) usleep(100000);
            }
            Burst burst = {first, 0};
            for (unsigned i = 0; i < kAtOnce; i++)
                router_.SendReport(R"({"MAC":")" + std::to_string(first + i) + R"("})");
            while (burst.acknowledged < kAtOnce && online_) {
                const auto frame = router_.Read(20);
                online_ = frame.has_value();
                if (online_ && frame->header.msgType == MSG_ACK) burst.acknowledged++;
            }
            acknowledged_ += burst.acknowledged;
            bursts_.push_back(burst);
            usleep(200000); // so that all of it is under way while the others die
        }
        ended_ = true;
    }

    const unsigned number_;
    const std::vector<std::string> gateways_;
    GatewayRouter router_;
    bool online_ = false;
    unsigned tries_ = 0;
    std::vector<Burst> bursts_;
    std::atomic<unsigned> acknowledged_{0};
    std::atomic<bool> ended_{false}, stop_{false};
    std::thread thread_; // last: it uses the others
};

TEST_F(GatewayTest, WhatAHundredRoutersWereAcknowledgedIsInTheStreamOnceAfterServerAndGatewayDied)
{
    AddDevices(kRouters);
    GatewayProgram first(nats_, {0});
    auto second = std::make_unique<GatewayProgram>(nats_, GatewayOptions{1});
    std::vector<std::unique_ptr<Reporter>> reporters;
    for (unsigned i = 0; i < kRouters; i++)
        reporters.push_back(std::make_unique<Reporter>(i, std::vector{first.RegisterAt(), second->RegisterAt()}));
    const auto acknowledged = [&] {
        unsigned sum = 0;
        for (const auto &reporter : reporters) sum += reporter->Acknowledged();
        return sum;
    };
    constexpr unsigned kAll = kRouters * kReports;
    ASSERT_TRUE(Within(60, [&] { return acknowledged() > kAll / 5; })) << acknowledged();
    // The server hangs until reports are sent to it again, and dies once it has some of them twice.
    kill(nats_.Id(), SIGSTOP);
    usleep(1500000);
    kill(nats_.Id(), SIGCONT);
    ASSERT_TRUE(Within(60, [&] { return acknowledged() > kAll / 3; })) << acknowledged();
    nats_.Kill();
    EXPECT_LT(acknowledged(), kAll / 2); // it was under way
    nats_.Start();
    ASSERT_TRUE(Within(60, [&] { return acknowledged() > kAll / 2; })) << acknowledged();
    // A gateway, while reports wait in it.
    nats_.Kill();
    usleep(500000); // each router has sent its next reports
    second->Program().Signal(SIGKILL);
    second.reset();
    EXPECT_LT(acknowledged(), kAll * 3 / 4);
    nats_.Start();
    second = std::make_unique<GatewayProgram>(nats_, GatewayOptions{1});
    ASSERT_TRUE(Within(90, [&] {
        return std::all_of(reporters.begin(), reporters.end(), [](const auto &reporter) { return reporter->Ended(); });
    })) << acknowledged();

    std::map<std::pair<std::string, unsigned>, unsigned> stored; // router and number
    const int messages = Stored();
    for (int i = 1; i <= messages; i++) {
        const auto text = bus_->Request("$JS.API.DIRECT.GET.PLUG_REPORTS", Json{{"seq", i}}.dump(), 5000);
        const Json report = Json::parse(text.value_or(""), nullptr, false);
        ASSERT_TRUE(report.is_object() && report.contains("fields")) << i << ": " << text.value_or("nothing");
        stored[{report["serial"], static_cast<unsigned>(std::stoul(report["fields"]["MAC"].get<std::string>()))}]++;
    }
    unsigned missing = 0, unanswered = 0;
    for (unsigned i = 0; i < kRouters; i++)
        for (const Reporter::Burst &burst : reporters[i]->Bursts()) {
            unsigned found = 0;
            for (unsigned n = burst.first; n < burst.first + kAtOnce; n++)
                found += stored.count({FactsOf(i).serial, n});
            if (found < burst.acknowledged) missing += burst.acknowledged - found;
            unanswered += kAtOnce - burst.acknowledged;
        }
    EXPECT_EQ(0u, missing) << "of " << acknowledged() << " acknowledged ones";
    for (const auto &[report, times] : stored) EXPECT_EQ(1u, times) << report.first << " " << report.second;
    // The gateway that dies takes what it has not stored yet, of its own routers only; the server takes nothing.
    EXPECT_GT(unanswered, 0u);
    EXPECT_LE(unanswered, kRouters * kAtOnce);
    EXPECT_EQ(kAll, acknowledged() + unanswered);
}

// Long before the others miss it.
TEST_F(GatewayTest, AQuestionToARouterWhoseGatewayHasJustDiedIsRefusedAtOnce)
{
    AddDevices(1);
    GatewayProgram first(nats_, {0});
    auto second = std::make_unique<GatewayProgram>(nats_, GatewayOptions{1});
    GatewayRouter router(FactsOf(0));
    ASSERT_TRUE(router.Register() && router.Login(second->LoginAt()));
    router.Serve();
    const auto ask = [&](const char *what) { return bus_->Request(std::string("plug.R0.") + what, "", 3000); };
    // Both know where it is: either answers.
    ASSERT_TRUE(Within([&] {
        int good = 0;
        for (int i = 0; i < 20; i++) good += ask("ask.led").value_or("").find("\"ok\":true") != std::string::npos;
        return good == 20;
    }));
    second->Program().Signal(SIGKILL);
    EXPECT_EQ(128 + SIGKILL, second->Program().WaitExit(kPatience).value_or(-1));
    for (const char *what : {"ask.led", "command.online"})
        EXPECT_EQ(R"({"ok":false,"error":{"code":"offline","sentence":"the router is not online"}})",
                  ask(what).value_or("nothing"));
}
} // namespace
