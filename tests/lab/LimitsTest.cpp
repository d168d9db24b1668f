// Limits of single devices: what they let through from the third second on, and what they leave alone.
#include <cmath>
#include <csignal>
#include <gtest/gtest.h>

#include "tests/lab/Flow.h"

namespace
{
constexpr double kSettleSeconds = 3; // a shaper lets its reserve through first
constexpr double kRestoreSeconds = 5;
constexpr double kMeasureSeconds = 6;
constexpr double kShare = 0.10;     // of the limit
constexpr double kUnlimited = 20e6; // bytes per second that the lab reaches easily; no limit here comes near

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
    // One transfer that is measured on the wire: what the limit let through, as IP packets.
    struct Transfer {
        std::unique_ptr<Flow> flow;
        std::unique_ptr<Meter> meter;
        Way way;
        double limit;
        double time = 0, wire = 0, payload = 0;
        void Look(bool end)
        {
            const Sample sample = flow->Fresh();
            const double now = Now(), bytes = meter->Bytes(), sofar = Flow::Of(sample, way);
            time = end ? now - time : now;
            wire = end ? bytes - wire : bytes;
            payload = end ? sofar - payload : sofar;
        }
        // More than the limit is a fault. Returns whether it is reached, too.
        bool IsShaped() const
        {
            const double onWire = wire / time, handedOver = payload / time;
            const char *const name = way == UP ? "up" : "down";
            printf("%s %.0f bytes/s of %.0f, payload %.0f\n", name, onWire, limit, handedOver);
            EXPECT_LE(onWire, limit * (1 + kShare)) << name;
            // TCP hands bytes over in order: what came before the measured time may be handed over in it, or later.
            return onWire >= limit * (1 - kShare) && std::abs(handedOver - limit) <= limit * 3 * kShare;
        }
    };
    // Client 1 sends, client 2 receives at the same time. Of two directions of one device the slower would be held up by
    // the acknowledgements of the faster.
    void Start(int family, double upLimit, double downLimit)
    {
        const int port = nextPort_ += 2;
        up_ = {Greedy(1, family, UP, port), nullptr, UP, upLimit};
        up_.meter = std::make_unique<Meter>(lab_, "internet", "tcp dport " + std::to_string(port));
        down_ = {Greedy(2, family, DOWN, port + 1), nullptr, DOWN, downLimit};
        down_.meter = std::make_unique<Meter>(lab_, "client2", "tcp sport " + std::to_string(port + 1));
    }
    // TCP may stand still for a moment after it has lost much, which is no fault of the limit: then it is measured again.
    void ExpectShaped()
    {
        Pause(up_.flow.get(), kSettleSeconds);
        EXPECT_TRUE(IsShaped() || IsShaped());
    }
    bool IsShaped()
    {
        up_.Look(false);
        down_.Look(false);
        Pause(up_.flow.get(), kMeasureSeconds);
        up_.Look(true);
        down_.Look(true);
        const bool up = up_.IsShaped(), down = down_.IsShaped();
        return up && down;
    }

    // Whether the kernel has a class on each side, and the rules that lead there.
    bool InForce()
    {
        return Contains(lab_.Shell("router", "tc class show dev br-lan"), "class htb") &&
               Contains(lab_.Shell("router", "tc class show dev wan"), "class htb") &&
               CountOf(lab_.Shell("router", "nft list ruleset"), "map class") == 2;
    }

    int nextPort_ = 6000;
    Transfer up_, down_; // the latest
    Lab lab_;
    std::unique_ptr<LabSession> session_;
};

TEST_F(Limits, ATransferStaysWithinATenthOfTheLimitEachWayAndNobodyElseIsLimited)
{
    struct {
        int64_t one; // client 1 sends
        int64_t two; // client 2 receives
        int family;
    } const cases[] = {{50000, 50000, 4}, {500000, 2000000, 6}, {5000000, 10000000, 4}};
    for (const auto &each : cases) {
        SCOPED_TRACE("IPv" + std::to_string(each.family));
        session_->SetLimits(kMac1, each.one, 0);
        session_->SetLimits(kMac2, 0, each.two);
        Start(each.family, static_cast<double>(each.one), static_cast<double>(each.two));
        ExpectShaped();
        const Event limits = session_->AskWell(std::string("device-limits ") + kMac1);
        EXPECT_EQ(std::to_string(each.one), limits.Text("fields.up"));
        EXPECT_EQ("0", limits.Text("fields.down"));
    }
    // The directions that have no limit, and traffic within the household.
    EXPECT_GE(Greedy(1, 4, DOWN, 6100)->Rate(DOWN, 1), kUnlimited);
    EXPECT_GE(Greedy(2, 4, UP, 6101)->Rate(UP, 1), kUnlimited);
    session_->SetLimits(kMac1, 50000, 50000);
    session_->SetLimits(kMac2, 50000, 50000);
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
    session_->SetLimits(kMac1, 100000, 0);
    session_->SetLimits(kMac2, 0, 100000);
    Start(4, 100000, 100000);
    ExpectShaped();
    session_->SetLimits(kMac1, 0, 0);
    session_->SetLimits(kMac2, 0, 0);
    Pause(up_.flow.get(), 3); // TCP has to find its speed again
    EXPECT_GE(up_.flow->Rate(UP, 1), kUnlimited);
    EXPECT_GE(down_.flow->Rate(DOWN, 1), kUnlimited);
    // The last limit takes its queueing away, too: nothing of it is left on the interfaces.
    EXPECT_EQ("", lab_.Shell("router", "tc qdisc show dev br-lan | grep htb || true"));
    EXPECT_EQ("", lab_.Shell("router", "tc qdisc show dev wan | grep htb || true"));
}

TEST_F(Limits, TheyAreInForceAgainAfterACrashAndAfterEveryKindOfForeignChange)
{
    session_->SetLimits(kMac1, 200000, 0);
    session_->SetLimits(kMac2, 0, 300000);
    session_->KillAgent();
    lab_.Shell("router", "tc qdisc del dev br-lan root; tc qdisc del dev wan root; nft flush ruleset");
    session_->RestartAgent(SIGKILL);
    Start(6, 200000, 300000); // over IPv4 the router resets connections while its translation of addresses is away
    for (const char *change :
         {"true", "tc qdisc del dev br-lan root", "tc qdisc del dev wan root", "nft flush ruleset"}) {
        SCOPED_TRACE(change);
        lab_.Shell("router", change);
        EXPECT_TRUE(Within(kRestoreSeconds, [&] { return InForce(); }));
        ExpectShaped();
    }
}
} // namespace
