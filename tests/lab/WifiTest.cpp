// Wi-Fi of a real router: hostapd, a client and the agent in a virtual machine with two simulated radios
// (scripts/wifi-vm.sh). The machine is the router; its second radio is in a network namespace, a phone's.
#include <csignal>
#include <cstdio>
#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/e2e/Agent.h"
#include "tests/e2e/NetNamespace.h"
#include "tests/e2e/Platform.h"

namespace
{
constexpr char kPhone[] = "02:00:00:00:01:00";
constexpr char kBlackList[] = "/run/black";
constexpr long kGrowthKb = 64;
constexpr double kSeen = 40; // seconds for what the emulated machine does: scanning and connecting take several

const char kHostapd[] = "interface=wlan0\nbridge=br-lan\nctrl_interface=/run/hostapd\nssid=Home\nhw_mode=g\nchannel=1\n"
                        "wpa=2\nwpa_key_mgmt=WPA-PSK\nrsn_pairwise=CCMP\nwpa_passphrase=first key of all\n";
// The phone knows both names that the network has in these tests.
const char kSupplicant[] = "ctrl_interface=/run/phone\n"
                           "network={\n ssid=\"Home\"\n psk=\"first key of all\"\n}\n"
                           "network={\n ssid=\"Other\"\n psk=\"the-second-key\"\n}\n";

std::string InPhone(const std::string &command)
{
    return RunShell("ip netns exec phone sh -c '" + command + "'");
}

// A program that goes on by itself. What it writes is read.
class Daemon
{
  public:
    explicit Daemon(const std::string &command)
    {
        ProcessOptions program;
        program.arguments = {"/bin/sh", "-c", "exec " + command};
        process_ = std::make_unique<Process>(program);
        output_ = std::make_unique<Lines>(process_->Output());
        errors_ = std::make_unique<Lines>(process_->Errors());
    }
    void End(int signal = SIGTERM)
    {
        process_->Signal(signal);
        if (!process_->WaitExit(kPatience)) throw Failure("it does not end");
    }
    std::string Text()
    {
        std::string text;
        for (const std::string &line : output_->All()) text += line + "\n";
        return text;
    }

  private:
    std::unique_ptr<Lines> output_, errors_; // outlive the program that writes them
    std::unique_ptr<Process> process_;
};

std::unique_ptr<Daemon> StartHostapd()
{
    auto hostapd = std::make_unique<Daemon>("hostapd /run/hostapd.conf");
    if (!Within(kSeen, [] { return access("/run/hostapd/wlan0", F_OK) == 0; })) throw Failure(hostapd->Text());
    return hostapd;
}

// iw fails when the connection ends while it asks.
// Whether the second radio is connected to a network of this name. It has heard it, and both have agreed on its key.
bool IsConnectedTo(const std::string &ssid)
{
    return Contains(InPhone("iw dev wlan1 link || true"), "SSID: " + ssid + "\n");
}

bool IsConnected()
{
    return Contains(InPhone("iw dev wlan1 link || true"), "Connected to");
}

bool ReachesTheRouter()
{
    return Contains(InPhone("busybox ping -c1 -W2 192.168.50.1 || true"), "1 packets received");
}

// One platform and one agent for all tests: the machine is not fast.
class Wifi : public testing::Test
{
  protected:
    static void SetUpTestSuite()
    {
        WriteFile("/run/hostapd.conf", kHostapd);
        WriteFile("/run/phone.conf", kSupplicant);
        WriteFile("/run/router.conf", std::string("[router]\nserial = VM1\npin = 123456789012\n"
                                                  "state = /run/router.state\nblack_list = ") +
                                          kBlackList + "\n");
        RunShell("ip link add br-lan type bridge; ip addr add 192.168.50.1/24 dev br-lan; ip link set br-lan up;"
                 "ip netns add phone; iw phy phy1 set netns name phone");
        hostapd_ = StartHostapd();
        InPhone("ip link set wlan1 up; ip addr add 192.168.50.20/24 dev wlan1");
        phone_ = std::make_unique<Daemon>("ip netns exec phone wpa_supplicant -i wlan1 -c /run/phone.conf");
        platform_ = new Platform;
        AgentOptions options;
        options.clock = 1;
        options.environment = {{"LD_LIBRARY_PATH", LINUX_ROUTER_FOLDER}, {"PLUG_ROUTER_CONF", "/run/router.conf"}};
        agent_ = new Agent(options);
        platform_->WaitSession(60);
        ASSERT_TRUE(Within(kSeen, IsConnected)) << phone_->Text() << hostapd_->Text();
    }
    static void TearDownTestSuite()
    {
        delete agent_;
        delete platform_;
        phone_.reset();
        hostapd_.reset();
    }
    static Event Ask(const std::string &command)
    {
        platform_->Command(command);
        return platform_->Wait("reply", {}, 30);
    }
    // The place of the phone in the device table, or -1.
    static int PlaceOfPhone(Event *reply)
    {
        *reply = Ask("all-devices");
        for (int i = 0; reply->Has("fields.devices." + std::to_string(i) + ".mac"); i++)
            if (reply->Text("fields.devices." + std::to_string(i) + ".mac") == kPhone) return i;
        return -1;
    }
    static void ExpectPhone(bool there)
    {
        Event reply("{}");
        EXPECT_TRUE(Within(kSeen, [&] { return (PlaceOfPhone(&reply) >= 0) == there; }))
            << reply.Line() << RunShell("ip -br link; ip neigh; iw dev wlan0 station dump; ip link show master br-lan")
            << InPhone("ip -br addr; ip neigh; iw dev wlan1 link");
    }

    static std::unique_ptr<Daemon> hostapd_, phone_;
    static Platform *platform_;
    static Agent *agent_;
};
std::unique_ptr<Daemon> Wifi::hostapd_, Wifi::phone_;
Platform *Wifi::platform_;
Agent *Wifi::agent_;

TEST_F(Wifi, AStationIsADeviceWithItsBandAndRate)
{
    EXPECT_TRUE(Within(kSeen, ReachesTheRouter));
    Event reply("{}");
    int place = -1;
    ASSERT_TRUE(Within(kSeen, [&] { return (place = PlaceOfPhone(&reply)) >= 0; })) << reply.Line();
    const std::string at = "fields.devices." + std::to_string(place) + ".";
    EXPECT_EQ("wifi-2g", reply.Text(at + "link"));
    EXPECT_EQ("0", reply.Text(at + "port")); // the index of the SSID
    Event speeds("{}");
    ASSERT_TRUE(Within(kSeen, [&] {
        speeds = Ask(std::string("device-speeds ") + kPhone);
        return speeds.Text("status") == "0";
    })) << speeds.Line();
    const double transmit = speeds.Number("fields.transmit");
    printf("link %.0f, receive %.0f, transmit %.0f Mbit/s\n", speeds.Number("fields.negotiated"),
           speeds.Number("fields.receive"), transmit);
    EXPECT_GE(transmit, 1);
    EXPECT_LE(transmit, 600);
    const Event ssids = Ask("ssid-configs");
    EXPECT_EQ("Home", ssids.Text("fields.ssids.0.ssid"));
    EXPECT_EQ("1", ssids.Text("fields.ssids.0.channel"));
    EXPECT_EQ("on", ssids.Text("fields.ssids.0.enabled"));
}

TEST_F(Wifi, ADeviceOnTheBlackListIsSentAwayAndRefusedUntilItIsOffTheList)
{
    ASSERT_TRUE(Within(kSeen, IsConnected));
    WriteFile(kBlackList, std::string(kPhone) + "\n");
    EXPECT_TRUE(Within(kSeen, [] { return !IsConnected(); }));
    EXPECT_FALSE(Within(15, IsConnected)); // it tries, and is refused
    EXPECT_TRUE(Contains(RunShell("hostapd_cli -p /run/hostapd -i wlan0 deny_acl SHOW"), kPhone));
    ExpectPhone(false);
    WriteFile(kBlackList, "");
    EXPECT_TRUE(Within(60, IsConnected));
}

TEST_F(Wifi, ANewNameAndTheSwitchAreSeenByTheOtherRadioAndSurviveARestartOfHostapd)
{
    EXPECT_EQ(
        "0",
        Ask("set-ssid-config index=0 ssid=Other key=the-second-key enabled=on security=2 channel=1").Text("status"));
    EXPECT_TRUE(Within(60, [] { return IsConnectedTo("Other"); }));
    EXPECT_EQ("Other", Ask("ssid-config 0").Text("fields.ssid"));

    EXPECT_EQ("0", Ask("set-ssid-switch 0 off").Text("status"));
    EXPECT_TRUE(Within(kSeen, [] { return !IsConnected(); }));
    ExpectPhone(false);
    EXPECT_EQ("0", Ask("set-ssid-switch 0 on").Text("status"));
    EXPECT_TRUE(Within(60, [] { return IsConnectedTo("Other"); }));

    // Another hostapd, with the configuration of before: it is told again what the platform has set.
    hostapd_->End();
    hostapd_ = StartHostapd();
    EXPECT_TRUE(Within(60, [] { return IsConnectedTo("Other"); }));
}

TEST_F(Wifi, RestartsOfHostapdUnderLoadCostNothingAndTheStationIsThereInTheEnd)
{
    const std::string name = Ask("ssid-config 0").Text("fields.ssid"); // "Other" behind the test before
    ASSERT_TRUE(Within(60, [&] { return IsConnectedTo(name); }));
    EXPECT_TRUE(Within(kSeen, ReachesTheRouter)); // who has said nothing at all is not known
    ExpectPhone(true);
    const size_t descriptors = DescriptorsOf(agent_->Id()), threads = ThreadsOf(agent_->Id());
    const long memory = DirtyKbOf(agent_->Id());
    // News of interfaces, ports and neighbours all the time, and the station's own traffic when it is connected.
    Daemon news(
        "sh -c \"while :; do ip link add flap type veth peer name palf; ip link set flap master br-lan up;"
        "ip neigh replace 192.168.50.77 lladdr 02:00:00:00:09:01 dev br-lan nud stale; ip link del flap; done\"");
    Daemon traffic("ip netns exec phone sh -c \"while :; do busybox ping -c 20 -W 1 192.168.50.1; sleep 0.1; done\"");
    for (const int signal : {SIGTERM, SIGKILL, SIGTERM}) {
        hostapd_->End(signal);
        hostapd_ = StartHostapd();
        EXPECT_TRUE(Within(20, [] { return Contains(RunShell("iw dev wlan0 info"), "type AP"); }));
        Ask("all-devices");
        Ask("ssid-configs");
    }
    // What the platform has set, told again to the last one.
    EXPECT_TRUE(Within(60, [&] { return IsConnectedTo(name); }));
    news.End(SIGKILL);
    traffic.End(SIGKILL);
    ExpectPhone(true);
    Event reply("{}");
    const std::string at = "fields.devices." + std::to_string(PlaceOfPhone(&reply)) + ".";
    EXPECT_EQ("wifi-2g", reply.Text(at + "link")) << reply.Line();
    EXPECT_EQ("0", reply.Text(at + "port"));
    EXPECT_TRUE(Within([&] {
        return DescriptorsOf(agent_->Id()) <= descriptors && ThreadsOf(agent_->Id()) <= threads;
    })) << DescriptorsOf(agent_->Id())
        << " descriptors after " << descriptors;
    printf("private memory %ld KB, then %ld; descriptors %zu, then %zu\n", memory, DirtyKbOf(agent_->Id()), descriptors,
           DescriptorsOf(agent_->Id()));
    EXPECT_LE(DirtyKbOf(agent_->Id()), memory + kGrowthKb);
}

// The last one: it needs no agent, which would put its own settings in force again.
TEST_F(Wifi, TheCheckerPutsBackWhatItSetsAtHostapd)
{
    delete agent_;
    agent_ = nullptr;
    WriteFile("/run/check.conf", "[router]\nserial = VM1\nstate = /run/check.state\n");
    Daemon checker("sh -c 'PLUG_ROUTER_CONF=/run/check.conf " SDK_CHECK_PROGRAM
                   " --write --limit 60 --threads 2 " LINUX_ROUTER_FOLDER "/libRouterSdk.so.1; echo status $?'");
    std::string output;
    ASSERT_TRUE(Within(240, [&] { return Contains(output = checker.Text(), "\nstatus "); })) << output;
    // The phone comes and goes with the switches, so what the checker says of devices is not looked at.
    for (const char *name : {"set_ssid_cfg", "set_ssid_switch", "set_wifi_radio_switch", "set_wps_switch"}) {
        const size_t begin = output.find(std::string("\n") + name + " ");
        ASSERT_NE(std::string::npos, begin) << output;
        const std::string row = output.substr(begin + 1, output.find('\n', begin + 1) - begin - 1);
        EXPECT_TRUE(Contains(row, " 0 ") && !Contains(row, "WRONG")) << row;
    }
    EXPECT_TRUE(Within(60, IsConnected)); // under its name of before, with its key of before
}
} // namespace

int main(int argc, char *argv[])
{
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
