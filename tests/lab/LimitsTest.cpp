// Limits of single devices: what they let through from the third second on, and what they leave alone.
#include <csignal>
#include <gtest/gtest.h>

#include "tests/lab/Flow.h"

namespace
{
constexpr double kSettleSeconds = 3;  // a shaper lets its reserve through first
constexpr double kMeasureSeconds = 6;
constexpr double kShare = 0.10;       // of the limit
constexpr double kUnlimited = 20e6;   // bytes per second that the lab reaches easily; no limit here comes near

FlowOptions AsFastAsItGoes(int client, int family, int port)
{
    FlowOptions flow;
    flow.from = "client" + std::to_string(client);
    flow.address = family == 4 ? kInternet4 : kInternet6;
    flow.port = port;
    return flow;
}

class Limits : public testing::Test
{
  protected:
    void SetUp() override
    {
        lab_.Join(1, "laptop");
        lab_.Join(2, "printer");
        session_ = std::make_unique<LabSession>(lab_);
        for (const char *mac : {kMac1, kMac2}) ASSERT_GE(session_->AwaitDevice(mac, true, 10), 0);
    }
    // A flow as fast as it goes in one direction.
    std::unique_ptr<Flow> Greedy(int client, int family, Way way, int port)
    {
        FlowOptions options = AsFastAsItGoes(client, family, port);
        (way == UP ? options.up : options.down) = "max";
        return std::make_unique<Flow>(options);
    }
    void Pause(Flow *flow, double seconds) { flow->Bytes(UP, seconds); }
    // Both directions at once, each under its own limit.
    void ExpectShaped(Flow *up, Flow *down, double upLimit, double downLimit)
    {
        Pause(up, kSettleSeconds);
        const double since = up->Fresh().time;
        const double upBefore = up->Fresh().up, downBefore = down->Fresh().down;
        Pause(up, kMeasureSeconds);
        const double upRate = (up->Fresh().up - upBefore) / (up->Fresh().time - since);
        const double downRate = (down->Fresh().down - downBefore) / (down->Fresh().time - since);
        printf("up %.0f of %.0f bytes/s, down %.0f of %.0f\n", upRate, upLimit, downRate, downLimit);
        EXPECT_NEAR(upLimit, upRate, upLimit * kShare);
        EXPECT_NEAR(downLimit, downRate, downLimit * kShare);
    }

    Lab lab_;
    std::unique_ptr<LabSession> session_;
};

TEST_F(Limits, BothDirectionsStayWithinATenthOfTheLimitAndNobodyElseIsLimited)
{
    struct {
        int family;
        int64_t up, down;
    } const cases[] = {{4, 50000, 200000}, {6, 2000000, 50000}, {4, 500000, 10000000}};
    int port = 6000;
    for (const auto &one : cases) {
        SCOPED_TRACE("IPv" + std::to_string(one.family));
        session_->SetLimits(kMac1, one.up, one.down);
        auto up = Greedy(1, one.family, UP, port++), down = Greedy(1, one.family, DOWN, port++);
        ExpectShaped(up.get(), down.get(), static_cast<double>(one.up), static_cast<double>(one.down));
        const Event limits = session_->AskWell(std::string("device-limits ") + kMac1);
        EXPECT_EQ(std::to_string(one.up), limits.Text("fields.up"));
        EXPECT_EQ(std::to_string(one.down), limits.Text("fields.down"));
    }
    // Another client, and the limited one within the household.
    EXPECT_GE(Greedy(2, 4, DOWN, 6100)->Rate(DOWN, 1), kUnlimited);
    EXPECT_GE(Greedy(2, 4, UP, 6101)->Rate(UP, 1), kUnlimited);
    for (const int family : {4, 6}) {
        FlowOptions home = AsFastAsItGoes(1, family, 6102 + family);
        home.to = "client2";
        home.address = lab_.AddressOf(2, family);
        home.up = "max";
        EXPECT_GE(Flow(home).Rate(UP, 1), kUnlimited);
        home.up = "0";
        home.down = "max";
        home.port += 10;
        EXPECT_GE(Flow(home).Rate(DOWN, 1), kUnlimited);
    }
}

TEST_F(Limits, RemovingALimitRestoresFullSpeedOfARunningTransfer)
{
    session_->SetLimits(kMac1, 100000, 100000);
    auto up = Greedy(1, 4, UP, 6000), down = Greedy(1, 4, DOWN, 6001);
    ExpectShaped(up.get(), down.get(), 100000, 100000);
    session_->SetLimits(kMac1, 0, 0);
    Pause(up.get(), 2); // TCP has to find its speed again
    EXPECT_GE(up->Rate(UP, 1), kUnlimited);
    EXPECT_GE(down->Rate(DOWN, 1), kUnlimited);
    // The last limit takes its queueing away, too: nothing of it is left on the interfaces.
    EXPECT_EQ("", lab_.Shell("router", "tc qdisc show dev br-lan | grep htb || true"));
    EXPECT_EQ("", lab_.Shell("router", "tc qdisc show dev wan | grep htb || true"));
}

TEST_F(Limits, TheyAreInForceAgainAfterACrashAndAfterEveryKindOfForeignChange)
{
    session_->SetLimits(kMac1, 200000, 300000);
    auto up = Greedy(1, 4, UP, 6000), down = Greedy(1, 6, DOWN, 6001);
    ExpectShaped(up.get(), down.get(), 200000, 300000);
    session_->KillAgent();
    lab_.Shell("router", "tc qdisc del dev br-lan root; tc qdisc del dev wan root; nft flush ruleset");
    session_->RestartAgent(SIGKILL);
    {
        SCOPED_TRACE("restart");
        ExpectShaped(up.get(), down.get(), 200000, 300000);
    }
    for (const char *change : {"tc qdisc del dev br-lan root", "tc qdisc del dev wan root", "nft flush ruleset"}) {
        SCOPED_TRACE(change);
        lab_.Shell("router", change);
        ExpectShaped(up.get(), down.get(), 200000, 300000);
    }
}
} // namespace
