// Files that are not what they should be: leases with any name, settings and configuration that were cut off or belong
// to somebody else, a disk that is full.
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/data/HostileTexts.h"
#include "tests/lab/Lab.h"

namespace
{
constexpr int kDevices = 120;
const char kUntouched[] = "untouched\n";

bool IsHarmless(const std::string &name)
{
    for (const char c : name)
        if (static_cast<unsigned char>(c) < ' ' || c == 0x7F) return false;
    return name.size() <= 63;
}

class HostileFiles : public testing::Test
{
  protected:
    HostileFiles() { WriteFile("/tmp/x", kUntouched); } // a file that some of the texts would change
    ~HostileFiles() override { EXPECT_EQ(kUntouched, ReadFile("/tmp/x")); }

    // What the library says by itself about client 1; its complaints follow in the same text.
    std::string Ask(const std::string &more = "")
    {
        return lab_.Shell("router", std::string("LD_LIBRARY_PATH=" LINUX_ROUTER_FOLDER " PLUG_ROUTER_CONF=") +
                                        kRouterConfig + " " LAB_ROUTER_PROGRAM " " + kMac1 + more + " 2>&1");
    }
    // The same, in an environment where client 1 is known by its settings alone: refused and limited.
    std::string MakeState()
    {
        LabSession session(lab_);
        session.SetAccess(kMac1, false);
        session.SetLimits(kMac1, 0, 123456);
        session.AskWell(std::string("set-device-name ") + kMac1 + " Anna");
        session.KillAgent();
        return ReadFile(kStateFile);
    }
    Lab lab_;
};

const char kKept[] = "device 0 access 0 limit 0 123456 name 0 'Anna' serial 0 'LAB0001'";

TEST_F(HostileFiles, AnyNameInALeaseIsShownHarmlessOrNotAtAllAndHurtsNobodyElse)
{
    lab_.Crowd(kDevices);
    LabSession session(lab_);
    const std::vector<HostileText> texts = HostileTexts();
    const std::string rules = lab_.Shell("router", "nft list ruleset | grep -v elements");
    size_t shown = 0;
    for (size_t first = 0; first < texts.size(); first += kDevices - 1) {
        std::string leases;
        for (int i = 1; i < kDevices; i++) {
            const size_t at = first + static_cast<size_t>(i) - 1;
            if (at < texts.size()) leases += "0 " + CrowdMac(i) + " " + CrowdIp(i) + " " + texts[at].text + " *\n";
        }
        // The last one is harmless, and its appearance shows that all have been read.
        const std::string sentinel = "sentinel-" + std::to_string(first);
        WriteFile(kLeasesFile, leases + "0 " + CrowdMac(kDevices) + " " + CrowdIp(kDevices) + " " + sentinel + " *\n");
        std::map<std::string, SeenDevice> devices;
        ASSERT_TRUE(Within(20, [&] {
            devices = session.Devices();
            return devices[CrowdMac(kDevices)].name == sentinel.substr(0, 16);
        })) << devices[CrowdMac(kDevices)].name;
        ASSERT_EQ(static_cast<size_t>(kDevices), devices.size());
        for (int i = 1; i <= kDevices; i++) {
            const SeenDevice &device = devices[CrowdMac(i)];
            EXPECT_EQ(CrowdIp(i), device.ip);
            EXPECT_TRUE(IsHarmless(device.name)) << device.name;
            EXPECT_TRUE(IsHarmless(session.AskWell("device-name " + CrowdMac(i)).Text("fields.name")));
            shown += !device.name.empty();
        }
    }
    EXPECT_GT(shown, 50u); // the harmless part of them
    EXPECT_EQ(rules, lab_.Shell("router", "nft list ruleset | grep -v elements"));
    EXPECT_TRUE(session.TheAgent().Runs());
}

TEST_F(HostileFiles, AStateThatIsCutOffAtAnyByteGivesWayToTheOneBeforeIt)
{
    const std::string state = MakeState();
    ASSERT_TRUE(Contains(Ask(), kKept)) << Ask();
    const std::string last = std::string(kStateFile) + ".last";
    for (size_t length = 0; length < state.size(); length++) {
        WriteFile(kStateFile, state.substr(0, length));
        WriteFile(last, state);
        const std::string answer = Ask();
        ASSERT_TRUE(Contains(answer, kKept)) << length << ": " << answer;
        ASSERT_TRUE(Contains(answer, "linux router: ")) << length; // and says so
    }
    EXPECT_TRUE(Contains(lab_.Shell("router", "nft list set inet plug_router refused"), kMac1));
}

TEST_F(HostileFiles, AForeignStateIsKeptAsideAndNothingOfItHappens)
{
    const std::string state = MakeState();
    std::string flipped = state;
    flipped[state.size() / 2] ^= 1;
    for (const std::string &foreign :
         {flipped, state + state, std::string(300000, '\0'), std::string(300000, 'x'),
          std::string("#!/bin/sh\nid >/tmp/x\n"), "plug-router-state 2\n" + state.substr(state.find('\n') + 1)}) {
        SCOPED_TRACE(foreign.substr(0, 40));
        unlink((std::string(kStateFile) + ".last").c_str());
        unlink((std::string(kStateFile) + ".bad").c_str());
        WriteFile(kStateFile, foreign);
        const std::string answer = Ask();
        EXPECT_FALSE(Contains(answer, "123456")) << answer;
        EXPECT_TRUE(Contains(answer, "linux router: ")) << answer;
        EXPECT_TRUE(Contains(Ask(" 777"), "set 0 ")); // and it works on
        EXPECT_TRUE(Contains(Ask(), "limit 0 777"));
    }
}

TEST_F(HostileFiles, AFullDiskIsAnErrorAndTheLastGoodStateIsKept)
{
    mkdir("/run/lab/full", 0755);
    ASSERT_EQ(0, mount("full", "/run/lab/full", "tmpfs", 0, "size=16k"));
    std::string config = ReadFile(kRouterConfig);
    const std::string place = "state = /run/lab/router.state";
    config.replace(config.find(place), place.size(), "state = /run/lab/full/router.state");
    WriteFile(kRouterConfig, config);
    ASSERT_TRUE(Contains(Ask(" 111"), "set 0 "));
    const std::string before = ReadFile("/run/lab/full/router.state");
    ASSERT_NE("", before);
    lab_.Shell("router", "dd if=/dev/zero of=/run/lab/full/filler 2>/dev/null || true");
    const std::string answer = Ask(" 222");
    EXPECT_TRUE(Contains(answer, "set 10 ")) << answer;     // not saved
    EXPECT_TRUE(Contains(answer, "limit 0 111")) << answer; // so not in force either
    EXPECT_EQ(before, ReadFile("/run/lab/full/router.state"));
    EXPECT_TRUE(Contains(Ask(), "limit 0 111"));
    umount("/run/lab/full");
}

TEST_F(HostileFiles, AConfigurationThatIsCutOffAtAnyByteOrForeignHurtsOnlyWhatNeedsIt)
{
    const std::string config = ReadFile(kRouterConfig);
    const size_t path = config.find("/run/lab/router.state"), folder = path + sizeof "/run/lab/" - 1;
    size_t kept = 0;
    for (size_t length = 0; length < config.size(); length++) {
        if (length > path && length < folder) continue; // a state file outside of the lab
        WriteFile(kRouterConfig, config.substr(0, length));
        const std::string answer = Ask(" 999");
        ASSERT_TRUE(Contains(answer, "device ")) << length << ": " << answer; // it lives
        if (Contains(answer, "set 0 ")) {
            ASSERT_TRUE(Contains(answer, "limit 0 999")) << length << ": " << answer;
            kept++;
        } else { // the key of the state file is wrong, or it cannot be written: said, and nothing is changed
            ASSERT_TRUE(Contains(answer, "set 6 ") || Contains(answer, "set 10 ")) << length << ": " << answer;
            ASSERT_FALSE(Contains(answer, "999")) << length << ": " << answer;
        }
    }
    EXPECT_GT(kept, config.size() / 2);
    for (const HostileText &hostile : HostileTexts()) {
        if (hostile.text.size() > 100) continue; // see below
        WriteFile(kRouterConfig, config + "\n[wan]\ninterfaces = " + hostile.text + "\n[commands]\nled = " +
                                     hostile.text + "\n[router]\nmodel = " + hostile.text + "\n");
        const std::string answer = Ask();
        ASSERT_TRUE(Contains(answer, "serial 0 'LAB0001'")) << answer;
    }
    // A file that cannot be used at all: the functions that need keys say so, and nothing is changed.
    for (const std::string &useless :
         {"# " + std::string(5000, 'x') + "\n", std::string(20000, '\n'), std::string(1, '\0')}) {
        WriteFile(kRouterConfig, config + useless);
        const std::string answer = Ask(" 555");
        EXPECT_TRUE(Contains(answer, "serial 6 ''")) << answer;
        EXPECT_TRUE(Contains(answer, "set 6 ")) << answer;
    }
    unlink(kRouterConfig);
    mkdir(kRouterConfig, 0755);
    EXPECT_TRUE(Contains(Ask(" 555"), "set 6 "));
}
} // namespace
