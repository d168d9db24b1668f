// Many devices, many rules and much news of the kernel: nothing is lost, nothing grows, and the table is right in the end.
#include <gtest/gtest.h>

#include "tests/lab/Lab.h"

namespace
{
constexpr int kDevices = 128;
constexpr int kRules = 100;  // surf rules, and as many limits
constexpr long kGrowth = 96; // KiB of private memory that a second flood may add

TEST(Load, WithManyDevicesRulesAndAFloodOfNewsNothingIsLostNothingGrowsAndTheTableIsRight)
{
    Lab lab;
    LabSession session(lab);
    lab.Crowd(kDevices);
    const double begin = Now();
    while (session.Devices().size() < kDevices) ASSERT_LE(Now() - begin, 10) << session.Devices().size();
    printf("%d devices after %.1f s\n", kDevices, Now() - begin);

    for (int i = 1; i <= kRules; i++) {
        session.Platform().Command("surf add " + CrowdMac(i) + " " + LabSession::Today() + " 0:00 23:59");
        session.Platform().Wait("reply", {{"function", "69"}, {"status", "0"}});
        session.SetLimits(CrowdMac(i), 100000 + i, 200000 + i);
    }
    // The pass that shuts out the hundred.
    session.TheAgent().WaitLog("set_dev_access_control for: 02:00:00:02:00:64 to 0", 0, 45);
    // Two hundred changes in a row, and none of them is taken for somebody else's.
    EXPECT_FALSE(Contains(session.TheAgent().RawLog(), "somebody else"))
        << CountOf(session.TheAgent().RawLog(), "somebody else");

    const pid_t agent = session.TheAgent().Id();
    lab.Flood();
    ASSERT_EQ(static_cast<size_t>(kDevices), session.Devices().size());
    const size_t descriptors = DescriptorsOf(agent), threads = ThreadsOf(agent);
    const long memory = DirtyKbOf(agent);
    lab.Flood();
    lab.Flood();
    const auto devices = session.Devices();
    EXPECT_EQ(static_cast<size_t>(kDevices), devices.size());
    for (int i = 1; i <= kDevices; i++) {
        const auto device = devices.find(CrowdMac(i));
        ASSERT_NE(devices.end(), device) << CrowdMac(i);
        EXPECT_EQ(i <= kRules ? "refused" : "allowed", device->second.access) << CrowdMac(i);
        EXPECT_EQ(3, device->second.port);
        EXPECT_EQ(CrowdIp(i), device->second.ip);
    }
    EXPECT_TRUE(Within([&] { return DescriptorsOf(agent) <= descriptors && ThreadsOf(agent) <= threads; }))
        << DescriptorsOf(agent) << " descriptors after " << descriptors;
    const long after = DirtyKbOf(agent);
    printf("private memory %ld KiB, then %ld; descriptors %zu, then %zu\n", memory, after, descriptors,
           DescriptorsOf(agent));
    EXPECT_LE(after, memory + kGrowth);
    const std::string refused = lab.Shell("router", "nft list set inet plug_router refused");
    EXPECT_EQ(static_cast<size_t>(kRules), CountOf(refused, "02:00:00:02:"));
    EXPECT_EQ(static_cast<size_t>(kRules), CountOf(lab.Shell("router", "tc class show dev br-lan"), "class htb"));
    EXPECT_EQ(static_cast<size_t>(kRules), CountOf(lab.Shell("router", "tc class show dev wan"), "class htb"));

    // The bridge itself goes and comes back: another interface with the same name, and everything is in force on it.
    const std::string tables = "ip link set lan4 nomaster; ip link del br-lan; ip link add br-lan type bridge;"
                               "ip addr add 192.168.50.1/24 dev br-lan; ip link set br-lan up;"
                               "ip link set lan4 master br-lan";
    lab.Shell("router", tables);
    EXPECT_TRUE(Within(10, [&] {
        return CountOf(lab.Shell("router", "tc class show dev br-lan"), "class htb") == static_cast<size_t>(kRules);
    }));
    EXPECT_EQ(static_cast<size_t>(kRules),
              CountOf(lab.Shell("router", "nft list set netdev plug_router refused"), "02:00:00:02:"));
    const double moved = Now();
    lab.Shell("crowd", "for i in $(seq 1 128); do ping -q -c1 -W5 -I d$i 192.168.50.1 >/dev/null & done; wait");
    while (session.Devices().size() < kDevices) ASSERT_LE(Now() - moved, 15) << session.Devices().size();
}
} // namespace
