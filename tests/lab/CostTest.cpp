// What the library costs the agent: memory, and the time of calls that are made while the agent holds a lock.
#include <algorithm>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <set>
#include <sstream>
#include <thread>
#include <unistd.h>

#include "tests/lab/Lab.h"
#include "tests/support/Mappings.h"

namespace
{
constexpr int kDevices = 128;
constexpr long kMostKb = 200;
constexpr double kMostMicroseconds = 100;
constexpr double kSettleSeconds = 35; // the agent's duties after a login, and a pass over its rules

// A page of a file that still has to be written to the disk counts as dirty for everybody who maps it.
void WriteOut(const std::string &file)
{
    const int descriptor = open(file.c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_GE(descriptor, 0) << file;
    EXPECT_EQ(0, fsync(descriptor)) << file;
    close(descriptor);
}

// A lease with a name for each device of the crowd.
void GiveLeases()
{
    std::string leases;
    for (int i = 1; i <= kDevices; i++) {
        char line[128];
        snprintf(line, sizeof line, "0 %s %s the-device-number-%d *\n", CrowdMac(i).c_str(), CrowdIp(i).c_str(), i);
        leases += line;
    }
    WriteFile(kLeasesFile, leases);
}

// Each device sends to the internet, so that each has a counter.
void SendFromAll(const Lab &lab)
{
    lab.Shell("crowd", "for i in $(seq 1 128); do ip route add default via 192.168.50.1 dev d$i metric $i; done;"
                       "for i in $(seq 1 128); do ping -q -c2 -W5 -I d$i 198.51.100.1 >/dev/null & done; wait");
}

// What the agent holds with a router library that has 128 devices, after the platform has asked for all of them.
std::vector<MappedKb> MemoryWith(const Lab &lab, const std::string &folder)
{
    WriteOut(folder + "/libRouterSdk.so.1");
    WriteOut(AgentProgram());
    LabSession session(lab, {{"LD_LIBRARY_PATH", folder}});
    EXPECT_TRUE(Within(20, [&] { return session.Devices().size() == kDevices; }));
    const auto devices = session.Devices();
    SendFromAll(lab);
    for (const auto &device : devices) session.AskWell("device-bandwidth " + device.first);
    EXPECT_FALSE(Within(kSettleSeconds, [&] { return !session.TheAgent().Runs(); }));
    return PrivateMemory(session.TheAgent().Id());
}

long DirtyOf(const std::vector<MappedKb> &list, const std::string &name)
{
    long sum = 0;
    for (const MappedKb &kind : list)
        if (kind.name.rfind(name, 0) == 0) sum += kind.dirty;
    return sum;
}

TEST(Cost, WithAHundredAndTwentyEightDevicesItAddsAtMostTwoHundredKilobytesToTheAgent)
{
    Lab lab;
    lab.Crowd(kDevices);
    GiveLeases();
    const std::vector<MappedKb> without = MemoryWith(lab, EMPTY_ROUTER_FOLDER);
    const std::vector<MappedKb> with = MemoryWith(lab, LINUX_ROUTER_FOLDER);
    std::set<std::string> names;
    for (const auto &list : {without, with})
        for (const MappedKb &kind : list) names.insert(kind.name);
    printf("%-32s %8s %8s   dirty KB\n", "", "without", "with");
    for (const std::string &name : names) {
        const auto of = [&](const std::vector<MappedKb> &list) {
            const auto found = std::find_if(list.begin(), list.end(), [&](const auto &at) { return at.name == name; });
            return found == list.end() ? 0 : found->dirty;
        };
        printf("%-32s %8ld %8ld\n", name.c_str(), of(without), of(with));
    }
    // An agent without any library does not exist: the pages of the empty one are none of the agent's.
    const long added = Total(with).dirty - (Total(without).dirty - DirtyOf(without, "libRouterSdk"));
    printf("the library adds %ld KB\n", added);
    EXPECT_LE(added, kMostKb);
}

// The processor time of the calling thread, which does not depend on what else the machine does. That a call waits for no
// lock that is held for long is a unit test (RouterFunctions.ThoseAboutDevicesDoNotWait...).
TEST(Cost, ACallOnTheDeviceTableTakesLessThanAHundredMicrosecondsDuringAFloodOfNews)
{
    Lab lab;
    lab.Crowd(kDevices);
    GiveLeases();
    std::string line;
    std::thread calls([&] {
        line = lab.Shell("router", std::string("LD_LIBRARY_PATH=" LINUX_ROUTER_FOLDER " PLUG_ROUTER_CONF=") +
                                       kRouterConfig + " " LAB_ROUTER_PROGRAM " calls 12");
    });
    lab.Flood();
    calls.join();
    printf("microseconds, median, 99th percentile, worst:\n%s", line.c_str());
    std::istringstream words(line);
    std::string word;
    int devices = 0, kinds = 0;
    double median, nearly, worst;
    while (words >> word) {
        if (word == "devices") words >> devices;
        if (word != "processor") continue;
        kinds++;
        words >> median >> nearly >> worst;
        EXPECT_LE(nearly, kMostMicroseconds);
    }
    EXPECT_EQ(2, kinds);
    EXPECT_EQ(kDevices, devices);
}
} // namespace
