// Devices that are shut out of the internet: with real traffic, in both directions, over IPv4 and IPv6.
#include <csignal>
#include <cstring>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "tests/lab/Flow.h"

namespace
{
constexpr double kPassSeconds = 31;   // one pass of the rules comes every 30 s
constexpr double kCutSeconds = 1;     // from a setting to the last byte
constexpr double kRestoreSeconds = 5; // after a crash, or somebody else's changes
constexpr double kQuiet = 1.5;        // nothing for so long is silence: all flows send every 20 ms

// One flow in both directions: 50 kB/s each.
FlowOptions Steady(const Lab &, int client, const std::string &protocol, int family)
{
    FlowOptions flow;
    flow.protocol = protocol;
    flow.from = "client" + std::to_string(client);
    flow.address = family == 4 ? kInternet4 : kInternet6;
    flow.port = 5000 + client * 10 + family;
    flow.up = flow.down = "50000";
    return flow;
}

// All that a client may do at the same time.
class Flows
{
  public:
    Flows(const Lab &lab, int client, bool natted = true)
    {
        for (const char *protocol : {"tcp", "udp"})
            for (const int family : {4, 6}) {
                if (!natted && family == 4 && strcmp(protocol, "tcp") == 0) continue;
                flows_.push_back(std::make_unique<Flow>(Steady(lab, client, protocol, family)));
                names_.push_back(std::string(protocol) + " over IPv" + std::to_string(family));
            }
    }
    // Expects that everything flows now.
    void ExpectFlowing()
    {
        Each([](Flow *flow, Way way, const std::string &name) { EXPECT_GE(flow->AwaitArrival(way, 5), 0) << name; });
    }
    // Expects that everything has stopped by `limit`, a time of the clock. Returns the latest time of an arrival.
    double ExpectCut(double limit)
    {
        double last = 0;
        Each([&](Flow *flow, Way way, const std::string &name) {
            const double silent = flow->AwaitSilence(way, kQuiet, std::max(limit - Now(), 0.0) + kQuiet + 2);
            EXPECT_GE(silent, 0) << name << " goes on";
            EXPECT_LE(silent, limit) << name;
            last = std::max(last, silent);
        });
        return last;
    }
    // Expects that nothing arrives for `seconds`.
    void ExpectNothing(double seconds)
    {
        std::vector<double> before;
        Each([&](Flow *flow, Way way, const std::string &) { before.push_back(Flow::Of(flow->Fresh(), way)); });
        const double end = Now() + seconds;
        while (Now() < end) flows_[0]->Fresh();
        size_t i = 0;
        Each([&](Flow *flow, Way way, const std::string &name) {
            EXPECT_EQ(before[i++], Flow::Of(flow->Fresh(), way)) << name;
        });
    }
    // Expects that nothing was lost since the start, and nothing ever stopped for a second.
    void ExpectUndisturbed()
    {
        for (size_t i = 0; i < flows_.size(); i++) {
            const Sample sample = flows_[i]->Fresh();
            EXPECT_LT(std::max(sample.upGap, sample.downGap), 1.0) << names_[i];
            EXPECT_EQ(0, sample.upMissing + sample.downMissing) << names_[i];
        }
    }

  private:
    template <typename Body>
    void Each(Body body)
    {
        for (size_t i = 0; i < flows_.size(); i++)
            for (const Way way : {UP, DOWN}) body(flows_[i].get(), way, names_[i] + (way == UP ? ", up" : ", down"));
    }
    std::vector<std::unique_ptr<Flow>> flows_;
    std::vector<std::string> names_;
};

struct Household {
    Lab lab;
    LabSession session;
    Household() : lab(), session((Join(&lab), lab))
    {
        for (const char *mac : {kMac1, kMac2})
            if (session.AwaitDevice(mac, true, 10) < 0) throw Failure("a client is not there");
    }
    static void Join(Lab *lab)
    {
        lab->Join(1, "laptop");
        lab->Join(2, "printer");
    }
};

TEST(Access, ASurfRuleCutsRunningTrafficBothWaysWithinOnePassLetsItBackAndNobodyElseNotices)
{
    Household home;
    Flows first(home.lab, 1), other(home.lab, 2);
    first.ExpectFlowing();
    other.ExpectFlowing();

    const double added = Now();
    home.session.Platform().Command(std::string("surf add ") + kMac1 + " " + LabSession::Today() + " 0:00 23:59");
    EXPECT_EQ("0", home.session.Platform().Wait("reply", {{"function", "69"}}).Text("status"));
    home.session.TheAgent().WaitLog(std::string("set_dev_access_control for: ") + kMac1 + " to 0", 0, kPassSeconds + 4);
    const double last = first.ExpectCut(Now() + kCutSeconds);
    EXPECT_LE(last - added, kPassSeconds + kCutSeconds);
    printf("cut %.1f s after the command\n", last - added);
    EXPECT_EQ("refused", home.session.Devices()[kMac1].access);
    FlowOptions late = Steady(home.lab, 1, "tcp", 4);
    late.port = 5100;
    EXPECT_FALSE(Connects(late));                                          // nor anything new
    home.lab.Shell("client1", std::string("ping -c1 -W1 ") + kRouterLan4); // the router itself still answers

    home.session.Platform().Command(std::string("surf del ") + kMac1 + " " + LabSession::Today() + " 0:00 23:59");
    EXPECT_EQ("0", home.session.Platform().Wait("reply", {{"function", "69"}}).Text("status"));
    Flow again(late);
    EXPECT_GE(again.AwaitArrival(UP, 2), 0);
    EXPECT_EQ("allowed", home.session.Devices()[kMac1].access);
    const double back = Now();
    FlowOptions datagrams = Steady(home.lab, 1, "udp", 6);
    datagrams.port = 5101;
    Flow(datagrams).Fresh();
    EXPECT_LE(Now() - back, 2);
    other.ExpectUndisturbed();
}

TEST(Access, ADeviceIsStillShutOutAfterTheAgentsDeathAndAfterItsNextStart)
{
    Household home;
    Flows flows(home.lab, 1);
    flows.ExpectFlowing();
    home.session.SetAccess(kMac1, false);
    flows.ExpectCut(Now() + kCutSeconds);

    home.session.KillAgent();
    flows.ExpectNothing(kRestoreSeconds); // nobody is there, and it is still shut out
    home.session.RestartAgent(SIGKILL);
    flows.ExpectNothing(2);
    EXPECT_GE(home.session.AwaitDevice(kMac1, true, 10), 0);
    EXPECT_EQ("refused", home.session.Devices()[kMac1].access);

    // Somebody takes the rules away while no agent is there to notice: the next one puts them back.
    home.session.KillAgent();
    home.lab.Shell("router", "nft flush ruleset");
    home.session.RestartAgent(SIGKILL);
    flows.ExpectCut(Now() + kRestoreSeconds);
}

TEST(Access, ADeviceIsShutOutAgainWithinFiveSecondsOfEveryKindOfForeignChange)
{
    Household home;
    // Without TCP over IPv4: while the translation of addresses is away, the router itself resets its connections.
    Flows flows(home.lab, 1, false);
    home.session.SetAccess(kMac1, false);
    flows.ExpectCut(Now() + kCutSeconds);
    for (const char *change : {
             "nft flush ruleset",
             "nft delete table inet plug_router",
             "nft delete table netdev plug_router",
             "nft flush chain inet plug_router forward",
             "nft flush set netdev plug_router refused",
             "iptables -F; iptables -t nat -F; nft flush ruleset; nft flush ruleset",
         }) {
        SCOPED_TRACE(change);
        const double begin = Now();
        home.lab.Shell("router", change);
        const double last = flows.ExpectCut(begin + kRestoreSeconds);
        printf("%s: last byte after %.2f s\n", change, std::max(last - begin, 0.0));
    }
    home.session.SetAccess(kMac1, true);
    FlowOptions again = Steady(home.lab, 1, "tcp", 4);
    again.port = 5102;
    EXPECT_TRUE(Connects(again));
}

TEST(Access, RulesThatCouldNotBeSetAreTriedAgainUntilTheyAre)
{
    Household home;
    home.session.SetAccess(kMac1, false);
    home.session.KillAgent();
    home.lab.Shell("router", "nft flush ruleset; mount --bind /bin/false $(command -v nft)");
    home.session.RestartAgent(SIGKILL);
    EXPECT_TRUE(Within([&] { return Contains(home.session.TheAgent().RawLog(), "linux router: nft: exit status 1"); }));
    home.lab.Shell("router", "umount $(command -v nft)");
    EXPECT_TRUE(Within(20, [&] { return Contains(home.lab.Shell("router", "nft list ruleset"), kMac1); }));
}

TEST(Access, HostapdsThatHangHoldUpNoRules)
{
    Lab lab;
    // Sockets that nobody reads from, and a black list that each hostapd is to be told.
    std::vector<int> sockets;
    std::string names;
    for (int i = 0; i < 4; i++) {
        struct sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        snprintf(address.sun_path, sizeof address.sun_path, "/run/lab/hostapd%d", i);
        sockets.push_back(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
        ASSERT_EQ(0, bind(sockets.back(), reinterpret_cast<struct sockaddr *>(&address), sizeof address));
        names += std::string(" ") + address.sun_path;
    }
    WriteFile("/run/lab/black", std::string(kMac2) + "\n");
    WriteFile(kRouterConfig,
              ReadFile(kRouterConfig) + "[wifi]\nhostapd =" + names + "\n[router]\nblack_list = /run/lab/black\n");
    LabSession session(lab);
    // The first of them is being waited for.
    char command[64];
    ASSERT_TRUE(Within(20, [&] {
        for (const int each : sockets)
            if (recv(each, command, sizeof command, MSG_DONTWAIT) > 0) return true;
        return false;
    }));
    EXPECT_EQ(0, strncmp("DENY_ACL", command, 8)) << command;
    lab.Shell("router", "nft flush ruleset");
    EXPECT_TRUE(
        Within(kRestoreSeconds, [&] { return Contains(lab.Shell("router", "nft list ruleset"), "set refused"); }));
    for (const int each : sockets) close(each);
}

TEST(Access, ADeviceThatTakesAnotherAddressIsStillShutOut)
{
    Household home;
    home.session.SetAccess(kMac1, false);
    home.lab.Shell("client1", "ip addr add 192.168.50.77/24 dev eth0; ip addr add 2001:db8:50::77/64 dev eth0;"
                              "ip route replace default via 192.168.50.1 src 192.168.50.77");
    FlowOptions flow = Steady(home.lab, 1, "udp", 4);
    EXPECT_FALSE(Connects(flow));
    // What the internet sends to its new IPv6 address does not arrive either.
    FlowOptions inward;
    inward.protocol = "udp";
    inward.from = "internet";
    inward.to = "client1";
    inward.address = "2001:db8:50::77";
    EXPECT_FALSE(Connects(inward));
    home.session.SetAccess(kMac1, true);
    EXPECT_TRUE(Connects(flow));
    EXPECT_TRUE(Connects(inward));
}
} // namespace
