// What the library costs when nothing happens, and what is left of it on the machine once it is gone.
#include <cstring>
#include <gtest/gtest.h>

#include "tests/lab/Lab.h"

namespace
{
constexpr double kSettleSeconds = 40;
constexpr double kWatchSeconds = 120; // each neighbour of the kernel's goes through all its states in it
constexpr double kWakeUps = 0.2;      // a second

constexpr char kWaitCount[] = "/tmp/wait-count";

// How often the library's thread has come back from a wait.
uint64_t WakeUps()
{
    uint64_t count = 0;
    const std::string bytes = ReadFile(kWaitCount);
    if (bytes.size() == sizeof count) memcpy(&count, bytes.data(), sizeof count);
    return count;
}

// What happens in a household at rest: heartbeats, and the library's own questions.
void ExpectRest(const Lab &lab, size_t devices)
{
    WriteFile(kWaitCount, std::string(sizeof(uint64_t), '\0'));
    LabSession session(lab, {{"LD_PRELOAD", LAB_WAIT_COUNT_LIBRARY}, {"WAIT_COUNT", kWaitCount}}, 60);
    ASSERT_TRUE(Within([&] { return session.Devices().size() == devices; })) << session.Devices().size();
    // Until what the start has talked to is at rest.
    EXPECT_FALSE(Within(kSettleSeconds, [&] { return !session.TheAgent().Runs(); }));
    const uint64_t begin = WakeUps();
    const double watched = Now();
    EXPECT_FALSE(Within(kWatchSeconds, [&] { return !session.TheAgent().Runs(); }));
    const uint64_t wakeUps = WakeUps() - begin;
    printf("%llu wake-ups in %.0f s\n", static_cast<unsigned long long>(wakeUps), Now() - watched);
    EXPECT_GT(wakeUps, 0u); // it looks around by itself
    EXPECT_LE(static_cast<double>(wakeUps), kWakeUps * (Now() - watched));
    EXPECT_EQ(devices, session.Devices().size());
}

TEST(Rest, AnEmptyHouseholdWakesTheLibraryAtMostOnceInFiveSeconds)
{
    Lab lab;
    ExpectRest(lab, 0);
}

TEST(Rest, DevicesThatDoNothingWakeTheLibraryAtMostOnceInFiveSeconds)
{
    Lab lab;
    lab.Join(1, "laptop");
    lab.Join(2, "printer");
    lab.Join(3, "television");
    ExpectRest(lab, 3);
}

TEST(Rest, ACrowdThatDoesNothingWakesTheLibraryAtMostOnceInFiveSeconds)
{
    Lab lab;
    lab.Crowd(128);
    ExpectRest(lab, 128);
}

// `prepare` is done on the router before anything else.
void ExpectNothingIsLeft(const std::string &prepare)
{
    Lab lab;
    const std::string look = "nft list ruleset; tc qdisc show; tc class show dev br-lan; tc class show dev wan;"
                             "for d in ipv4 ipv6; do cd /proc/sys/net/$d; grep -r . conf/*/forwarding conf/*/accept_ra"
                             " ip_forward 2>/dev/null; done; cat /proc/sys/net/netfilter/nf_conntrack_acct";
    lab.Shell("router", prepare);
    const std::string before = lab.Shell("router", look);
    lab.Join(1, "laptop");
    for (int start = 0; start < 2; start++) { // what the first one has found counts
        LabSession session(lab);
        ASSERT_GE(session.AwaitDevice(kMac1, true, 10), 0);
        session.SetAccess(kMac1, false);
        session.SetLimits(kMac1, 100000, 100000);
        EXPECT_NE(before, lab.Shell("router", look));
        session.KillAgent();
    }
    lab.Shell("router", std::string("PLUG_ROUTER_CONF=") + kRouterConfig + " " ROUTER_OFF_SCRIPT);
    EXPECT_EQ(before, lab.Shell("router", look));
}

TEST(Rest, NothingIsLeftOnTheMachineOnceItIsTakenOff)
{
    ExpectNothingIsLeft("true");
}

TEST(Rest, AMachineThatForwardedBeforeDoesSoAfterwards)
{
    ExpectNothingIsLeft("sysctl -q net.ipv4.ip_forward=1 net.ipv6.conf.all.forwarding=1 net.ipv6.conf.wan.accept_ra=2");
}
} // namespace
