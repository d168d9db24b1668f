#include "sdk/linux/wifi/Nl80211.h"

#include "sdk/linux/base/Result.h"
#include "sdk/linux/settings/Settings.h"
#include "sdk/linux/wifi/Hostapd.h"
#include "sdk/linux/wifi/Networks.h"
#include "tests/support/Files.h"
#include "tests/unit/linux_router/Messages.h"
#include <atomic>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <linux/genetlink.h>
#include <linux/nl80211.h>
#include <map>
#include <mutex>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>
#include <utility>

// ---- The kernel's messages ----

static const Bytes kPhone = {2, 0, 0, 0, 0, 1};

static Message Wireless(const Bytes &attributes)
{
    return Message(30, Raw(genlmsghdr{}) + attributes);
}

static Bytes Interface(uint32_t type)
{
    return Attribute(NL80211_ATTR_IFINDEX, Number(6, 4)) + Attribute(NL80211_ATTR_IFNAME, Text("wlan0")) +
           Attribute(NL80211_ATTR_IFTYPE, Number(type, 4)) + Attribute(NL80211_ATTR_WIPHY_FREQ, Number(5180, 4)) +
           Attribute(NL80211_ATTR_CHANNEL_WIDTH, Number(NL80211_CHAN_WIDTH_80, 4));
}

TEST(RouterWifi, OnlyAccessPointsAreRadios)
{
    Radio radio;
    ASSERT_TRUE(ReadRadio(Wireless(Interface(NL80211_IFTYPE_AP)).Get(), &radio));
    EXPECT_STREQ("wlan0", radio.name);
    EXPECT_EQ(6, radio.index);
    EXPECT_EQ(5180u, radio.frequency);
    EXPECT_EQ(80, radio.width);
    EXPECT_FALSE(ReadRadio(Wireless(Interface(NL80211_IFTYPE_STATION)).Get(), &radio));
}

TEST(RouterWifi, AStationReceivesWhatTheAccessPointTransmits)
{
    const Bytes info = Attribute(NL80211_STA_INFO_TX_BITRATE, Attribute(NL80211_RATE_INFO_BITRATE, Number(1300, 2))) +
                       Attribute(NL80211_STA_INFO_RX_BITRATE, Attribute(NL80211_RATE_INFO_BITRATE32, Number(8667, 4)));
    Station station;
    ASSERT_TRUE(ReadStation(Wireless(Attribute(NL80211_ATTR_IFINDEX, Number(6, 4)) +
                                     Attribute(NL80211_ATTR_MAC, kPhone) + Attribute(NL80211_ATTR_STA_INFO, info))
                                .Get(),
                            &station));
    EXPECT_EQ(130, station.receive); // Mbit/s, of tenths
    EXPECT_EQ(866, station.transmit);
    EXPECT_EQ(0, memcmp(kPhone.data(), station.mac, 6));
}

static Message Scanned(const Bytes &elements)
{
    return Wireless(Attribute(NL80211_ATTR_BSS, Attribute(NL80211_BSS_BSSID, kPhone) +
                                                    Attribute(NL80211_BSS_FREQUENCY, Number(2437, 4)) +
                                                    Attribute(NL80211_BSS_SIGNAL_MBM, Number(uint32_t(-6450), 4)) +
                                                    Attribute(NL80211_BSS_CAPABILITY, Number(0x11, 2)) +
                                                    Attribute(NL80211_BSS_INFORMATION_ELEMENTS, elements)));
}

TEST(RouterWifi, ANeighbourIsReadFromItsBeacon)
{
    const Bytes elements = {0,  4,   'h', 'o', 'm', 'e',    // SSID
                            11, 5,   2,   0,   51,  0,   0, // load: 51 of 255
                            48, 20,  1,   0,   0,   15,  172, 4,   1, 0, 0,
                            15, 172, 4,   1,   0,   0,   15,  172, 2, 0, 0, // RSN, PSK
                            61, 3,   6,   1,   0};                          // HT, 40 MHz
    AdjWifi neighbour;
    ASSERT_TRUE(ReadScan(Scanned(elements).Get(), &neighbour));
    EXPECT_STREQ("home", neighbour.ssid);
    EXPECT_STREQ("WPA2-PSK", neighbour.security);
    EXPECT_EQ(-64, int(neighbour.rssi));
    EXPECT_EQ(2437000u, uint32_t(neighbour.frequency));
    EXPECT_EQ(6, int(neighbour.channel));
    EXPECT_EQ(40, int(neighbour.bandwidth));
    EXPECT_EQ(20, int(neighbour.load));
}

TEST(RouterWifi, ElementsThatSayTheyAreLongerThanTheBeaconEndIt)
{
    AdjWifi neighbour;
    ASSERT_TRUE(ReadScan(Scanned({0, 200, 'h', 'o'}).Get(), &neighbour));
    EXPECT_STREQ("", neighbour.ssid);
    EXPECT_STREQ("WEP", neighbour.security);
    ASSERT_TRUE(ReadScan(Scanned(Bytes{0, 40} + Bytes(40, 'x')).Get(), &neighbour)); // no name has 40 bytes
    EXPECT_STREQ("", neighbour.ssid);
    for (uint8_t length = 0; length < 20; length++)
        EXPECT_TRUE(ReadScan(Scanned(Bytes{48, length} + Bytes(length, 0xFF)).Get(), &neighbour));
}

TEST(RouterWifi, MessagesCutAnywhereAreReadWithoutHarm)
{
    const Message scan = Scanned({0, 4, 'h', 'o', 'm', 'e'}), interface = Wireless(Interface(NL80211_IFTYPE_AP));
    AdjWifi neighbour;
    Radio radio;
    Station station;
    for (size_t length = sizeof(nlmsghdr); length < scan.Size(); length++)
        EXPECT_FALSE(ReadScan(scan.CutTo(length).Get(), &neighbour));
    for (size_t length = sizeof(nlmsghdr); length < interface.Size(); length++) {
        ReadRadio(interface.CutTo(length).Get(), &radio);
        EXPECT_FALSE(ReadStation(interface.CutTo(length).Get(), &station));
    }
}

TEST(RouterWifi, ChannelsFollowFromFrequencies)
{
    const std::map<uint32_t, uint16_t> channels = {{2412, 1},   {2472, 13}, {2484, 14}, {5180, 36},
                                                   {5825, 165}, {5955, 1},  {900, 0}};
    for (const auto &[frequency, channel] : channels) EXPECT_EQ(channel, ChannelOf(frequency)) << frequency;
}

// ---- hostapd ----

// A hostapd that knows what a test gives it, and writes down what it is told.
class FakeHostapd
{
  public:
    explicit FakeHostapd(const std::string &path)
    {
        mSocket = socket(AF_UNIX, SOCK_DGRAM, 0);
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
        if (bind(mSocket, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0) abort();
        mThread = std::thread([this] { Run(); });
    }
    ~FakeHostapd()
    {
        mStop = true;
        mThread.join();
        close(mSocket);
    }
    // Commands that have no answer of their own are answered with OK.
    void Answer(const std::string &command, const std::string &reply)
    {
        const std::lock_guard<std::mutex> guard(mLock);
        mAnswers[command] = reply;
    }
    std::vector<std::string> Heard()
    {
        const std::lock_guard<std::mutex> guard(mLock);
        return mHeard;
    }
    void Forget()
    {
        const std::lock_guard<std::mutex> guard(mLock);
        mHeard.clear();
    }
    // At the next question for the state, `other` is called; it is answered when somebody else has asked, too, and has had
    // all answers, or asks nothing.
    void AtNextStatus(const std::function<void()> &other)
    {
        const std::lock_guard<std::mutex> guard(mLock);
        mAtStatus = other;
    }

  private:
    std::string ReplyTo(const std::string &command)
    {
        const std::lock_guard<std::mutex> guard(mLock);
        mHeard.push_back(command);
        if (command == "ENABLE") mAnswers["STATUS"] = "state=ENABLED\n";
        if (command == "DISABLE") mAnswers["STATUS"] = "state=DISABLED\n";
        const auto known = mAnswers.find(command);
        return known == mAnswers.end() ? "OK\n" : known->second;
    }
    std::function<void()> TakeAtStatus()
    {
        const std::lock_guard<std::mutex> guard(mLock);
        return std::exchange(mAtStatus, nullptr);
    }
    // Answers one command. False if there was none for so long.
    bool Serve(int milliseconds)
    {
        pollfd wait = {mSocket, POLLIN, 0};
        if (poll(&wait, 1, milliseconds) <= 0) return false;
        char text[512];
        sockaddr_un from;
        socklen_t size = sizeof from;
        const ssize_t length = recvfrom(mSocket, text, sizeof text, 0, reinterpret_cast<sockaddr *>(&from), &size);
        if (length < 0) return false;
        const std::string command(text, size_t(length));
        if (command == "STATUS")
            if (const auto other = TakeAtStatus()) {
                other();
                while (Serve(100)) {
                }
            }
        const std::string reply = ReplyTo(command);
        sendto(mSocket, reply.data(), reply.size(), 0, reinterpret_cast<sockaddr *>(&from), size);
        return true;
    }
    void Run()
    {
        while (!mStop) Serve(20);
    }
    int mSocket;
    std::mutex mLock;
    std::map<std::string, std::string> mAnswers;
    std::vector<std::string> mHeard;
    std::function<void()> mAtStatus;
    std::atomic<bool> mStop{false};
    std::thread mThread;
};

class RouterHostapd : public testing::Test
{
  protected:
    TemporaryFolder folder;
    std::string path = folder.Path("wlan0");
    FakeHostapd hostapd{path};
};

TEST_F(RouterHostapd, TellsNameChannelSwitchAndProtection)
{
    hostapd.Answer("STATUS", "state=ENABLED\nchannel=6\nssid[0]=x\n");
    hostapd.Answer("GET_CONFIG", "ssid=caf\\xc3\\xa9 \\\"1\\\"\nwps_state=configured\nwpa=2\nkey_mgmt=WPA-PSK\n");
    SsidCfg ssid = {};
    uint8_t wps = 0;
    ASSERT_EQ(RESULT_OK, HostapdRead(path.c_str(), &ssid, &wps));
    EXPECT_STREQ("caf\xC3\xA9 \"1\"", ssid.ssid);
    EXPECT_EQ(1, ssid.enabled);
    EXPECT_EQ(6, int(ssid.channel));
    EXPECT_EQ(2, int(ssid.security));
    EXPECT_EQ(1, wps);
}

TEST_F(RouterHostapd, IsToldANameInDigitsSoThatNoByteOfItMeansAnything)
{
    SsidSettings settings = {};
    settings.hasRecord = 1;
    strcpy(settings.ssid, "a\n\"");
    strcpy(settings.key, "pass word");
    ASSERT_EQ(RESULT_OK, HostapdApply(path.c_str(), &settings, nullptr));
    const std::vector<std::string> expected = {"SET ssid2 610a22", "SET wpa_passphrase pass word", "SET wpa 2",
                                               "SET ignore_broadcast_ssid 0", "RELOAD"};
    EXPECT_EQ(expected, hostapd.Heard());
}

TEST_F(RouterHostapd, ANetworkThatIsNotOpenKeepsItsKeyWhenNoneIsGiven)
{
    SsidSettings settings = {};
    settings.hasRecord = 1;
    strcpy(settings.ssid, "a");
    ASSERT_EQ(RESULT_OK, HostapdApply(path.c_str(), &settings, nullptr));
    for (const std::string &command : hostapd.Heard()) EXPECT_NE(0u, command.find("SET wpa")) << command;
    hostapd.Forget();
    settings.open = 1;
    ASSERT_EQ(RESULT_OK, HostapdApply(path.c_str(), &settings, nullptr));
    EXPECT_EQ("SET wpa 0", hostapd.Heard().at(1));
}

TEST_F(RouterHostapd, WhatItRefusesIsAnErrorAndTheRestIsNotTold)
{
    hostapd.Answer("SET ssid2 61", "FAIL\n");
    SsidSettings settings = {};
    settings.hasRecord = 1;
    strcpy(settings.ssid, "a");
    testing::internal::CaptureStderr();
    EXPECT_EQ(RESULT_WIFI, HostapdApply(path.c_str(), &settings, nullptr));
    EXPECT_NE(std::string::npos, testing::internal::GetCapturedStderr().find("SET: refused"));
    EXPECT_EQ(1u, hostapd.Heard().size());
}

TEST_F(RouterHostapd, IsSwitchedOnlyWhenItIsNotSoAlready)
{
    hostapd.Answer("STATUS", "state=ENABLED\n");
    EXPECT_EQ(RESULT_OK, HostapdSwitch(path.c_str(), true));
    EXPECT_EQ(2u, hostapd.Heard().size()); // the questions
    EXPECT_EQ(RESULT_OK, HostapdSwitch(path.c_str(), false));
    EXPECT_EQ("DISABLE", hostapd.Heard().back());
}

TEST_F(RouterHostapd, IsSwitchedOnWhileItStillLooksForItsChannel)
{
    for (const char *state : {"COUNTRY_UPDATE", "ACS", "HT_SCAN", "DFS", "ENABLED", "DISABLED", "UNINITIALIZED"}) {
        hostapd.Answer("STATUS", std::string("state=") + state + "\n");
        SsidCfg ssid = {};
        ASSERT_EQ(RESULT_OK, HostapdRead(path.c_str(), &ssid, nullptr));
        const bool on = std::string(state) != "DISABLED" && std::string(state) != "UNINITIALIZED";
        EXPECT_EQ(on, ssid.enabled == 1) << state;
    }
    hostapd.Answer("STATUS", "state=DFS\n");
    hostapd.Forget();
    EXPECT_EQ(RESULT_OK, HostapdSwitch(path.c_str(), true));
    EXPECT_EQ(2u, hostapd.Heard().size()); // the questions: it would refuse
}

// A thread that has looked at the settings tells them; one that changes them at this moment has the last word.
TEST_F(RouterHostapd, IsNotToldWhatWasSetBeforeByAThreadThatLookedBefore)
{
    WriteFile(folder.Path("router.conf"),
              "[router]\nserial = A1\nstate = " + folder.Path("router.state") + "\n[wifi]\nhostapd = " + path + "\n");
    setenv("PLUG_ROUTER_CONF", folder.Path("router.conf").c_str(), 1);
    LoadSettings();
    hostapd.Answer("STATUS", "state=ENABLED\n");
    SsidSettings on = {}, off = {};
    on.hasSwitch = off.hasSwitch = on.on = 1;
    ASSERT_EQ(RESULT_OK, ChangeNetwork(path.c_str(), &on));
    std::thread platform;
    hostapd.AtNextStatus(
        [&] { platform = std::thread([&] { EXPECT_EQ(RESULT_OK, ChangeNetwork(path.c_str(), &off)); }); });
    const uint8_t nobody[1][6] = {};
    NetworksKeep(TheConfig(), nobody, 0);
    ASSERT_TRUE(platform.joinable());
    platform.join();
    EXPECT_EQ("DISABLE", hostapd.Heard().back());
    EXPECT_EQ(0, TheState()->ssids[0].on);
}

TEST(RouterHostapdKeys, HaveEightToSixtyThreeCharactersOrSixtyFourDigits)
{
    for (const std::string &good : {std::string(), std::string("12345678"), std::string(63, '~'), std::string(64, 'f')})
        EXPECT_TRUE(IsWifiKey(good.c_str())) << good;
    for (const std::string &bad : {std::string("1234567"), std::string(64, 'g'), std::string("1234567\n8"),
                                   std::string(65, 'f'), std::string("caf\xC3\xA9 caf\xC3\xA9")})
        EXPECT_FALSE(IsWifiKey(bad.c_str())) << bad;
}

TEST(RouterHostapdSockets, NobodyThereIsAnErrorAtOnce)
{
    SsidCfg ssid = {};
    testing::internal::CaptureStderr();
    EXPECT_EQ(RESULT_WIFI, HostapdRead("/nonexistent/wlan0", &ssid, nullptr));
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(0u, HostapdIdentity("/nonexistent/wlan0"));
}
