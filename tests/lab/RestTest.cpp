// What the library costs when nothing happens, and what is left of it on the machine once it is gone.
#include <filesystem>
#include <gtest/gtest.h>
#include <sstream>
#include <sys/syscall.h>

#include "tests/lab/Lab.h"

namespace
{
constexpr double kSettleSeconds = 40;
constexpr double kWatchSeconds = 120; // each neighbour of the kernel's goes through all its states in it
constexpr double kWakeUps = 0.2;      // a second

// The library's thread: the agent's own do not wait with epoll.
std::string LibraryThread(pid_t agent)
{
    for (const auto &task : std::filesystem::directory_iterator("/proc/" + std::to_string(agent) + "/task")) {
        std::istringstream words(ReadFile(task.path().string() + "/syscall"));
        int call = -1;
        words >> call;
        if (call == SYS_epoll_wait || call == SYS_epoll_pwait) return task.path();
    }
    return "";
}

long SwitchesOf(const std::string &thread)
{
    std::istringstream words(ReadFile(thread + "/status"));
    for (std::string word; words >> word;)
        if (word == "voluntary_ctxt_switches:") {
            long count;
            words >> count;
            return count;
        }
    return -1;
}

// What happens in a household at rest: heartbeats, and the library's own questions.
void ExpectRest(const Lab &lab, size_t devices)
{
    LabSession session(lab, {}, 60);
    std::string thread;
    ASSERT_TRUE(Within([&] { return !(thread = LibraryThread(session.TheAgent().Id())).empty(); }));
    ASSERT_TRUE(Within([&] { return session.Devices().size() == devices; })) << session.Devices().size();
    // Until what the start has talked to is at rest.
    EXPECT_FALSE(Within(kSettleSeconds, [&] { return !session.TheAgent().Runs(); }));
    const long begin = SwitchesOf(thread);
    const double watched = Now();
    EXPECT_FALSE(Within(kWatchSeconds, [&] { return !session.TheAgent().Runs(); }));
    const long wakeUps = SwitchesOf(thread) - begin;
    printf("%ld wake-ups in %.0f s\n", wakeUps, Now() - watched);
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
