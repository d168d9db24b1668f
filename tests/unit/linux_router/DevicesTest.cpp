#include "sdk/linux/cache/Devices.h"

#include "sdk/linux/leases/Leases.h"
#include "sdk/linux/links/Links.h"
#include "sdk/linux/neighbours/Neighbours.h"
#include "tests/support/Files.h"
#include "tests/unit/linux_router/Messages.h"
#include <gtest/gtest.h>
#include <linux/neighbour.h>
#include <memory>
#include <sys/socket.h>
#include <unistd.h>

static const Bytes kPhone = {2, 0, 0, 0, 0, 1};
static const Bytes kTablet = {2, 0, 0, 0, 0, 2};
static const Bytes kPhoneIp = {192, 168, 7, 11};
static const int kLan = 3;
static const int64_t kStart = 1000000;

// A bridge br-lan with the ports lan1 and lan2. Time is what the test says.
class RouterDevices : public testing::Test
{
  protected:
    void SetUp() override
    {
        LinksClear();
        NeighboursClear();
        DevicesClear();
        Port(kLan, "br-lan", true, 0, "bridge");
        Port(4, "lan1", true);
        Port(5, "lan2", true);
    }

    void Port(int index, const std::string &name, bool up, int master = kLan, const std::string &kind = "")
    {
        LinksOnMessage(LinkMessage(index, name, up, master, kind).Get());
    }
    void Hear(const Message &message) { NeighboursOnMessage(message.Get(), kLan, now); }
    // An answer that came `ago` milliseconds before now.
    void Answer(const Bytes &ip, const Bytes &mac, int64_t ago = 0)
    {
        Hear(NeighbourMessage(kLan, ip, mac, NUD_REACHABLE, uint32_t(ago / 10)));
    }
    const Device *Look(const Bytes &mac)
    {
        DevicesRefresh(config.get(), now, 1000);
        return FindDevice(mac.data());
    }
    int Probes()
    {
        sent.resize(100);
        sent.resize(DevicesProbe(config.get(), now, sent.data(), sent.size()));
        return int(sent.size());
    }

    int64_t now = kStart;
    std::vector<Probe> sent;
    std::unique_ptr<Config> config = std::make_unique<Config>();
};

TEST_F(RouterDevices, IsPresentWithCarrierBridgeEntryAndAnAnswerWithinAMinute)
{
    Hear(BridgeMessage(kPhone, 5, kLan));
    EXPECT_FALSE(Look(kPhone)->present); // it has not answered yet
    Answer(kPhoneIp, kPhone);
    const Device *phone = Look(kPhone);
    EXPECT_TRUE(phone->present);
    EXPECT_EQ(1, phone->port); // lan2
    EXPECT_EQ(ROUTER_LINK_WIRED, phone->link);
    EXPECT_EQ(0x0B07A8C0u, phone->ip);
    now += 60000;
    EXPECT_TRUE(Look(kPhone)->present);
    now += 1;
    EXPECT_FALSE(Look(kPhone)->present);
}

TEST_F(RouterDevices, IsGoneAtOnceWithoutCarrier)
{
    Hear(BridgeMessage(kPhone, 4, kLan));
    Answer(kPhoneIp, kPhone);
    EXPECT_TRUE(Look(kPhone)->present);
    Port(4, "lan1", false);
    EXPECT_FALSE(Look(kPhone)->present);
}

TEST_F(RouterDevices, AFailedProbeDoesNotEndTheMinute)
{
    Hear(BridgeMessage(kPhone, 4, kLan));
    Answer(kPhoneIp, kPhone);
    EXPECT_TRUE(Look(kPhone)->present);
    now += 30000;
    Hear(NeighbourMessage(kLan, kPhoneIp, kPhone, NUD_FAILED, 3000));
    EXPECT_TRUE(Look(kPhone)->present); // a phone that sleeps answers the next one
    EXPECT_EQ(1, Probes());             // which goes to the address that it had
}

TEST_F(RouterDevices, AnAgeOfAnEntryThatWasNeverReachableIsNoAnswer)
{
    Hear(BridgeMessage(kPhone, 4, kLan));
    Hear(NeighbourMessage(kLan, kPhoneIp, kPhone, NUD_STALE, 100));
    EXPECT_FALSE(Look(kPhone)->present);
    Answer(kPhoneIp, kPhone, 5000);
    Hear(NeighbourMessage(kLan, kPhoneIp, kPhone, NUD_STALE, 400)); // it was confirmed after the message before
    now += 56000;
    EXPECT_TRUE(Look(kPhone)->present);
    now += 1;
    EXPECT_FALSE(Look(kPhone)->present);
}

TEST_F(RouterDevices, ALeaseGivesNameAndAddressUntilItRunsOut)
{
    TemporaryFolder folder;
    const std::string path = folder.Path("leases");
    WriteFile(path, "1000 02:00:00:00:00:02 192.168.7.98 old *\n1001 02:00:00:00:00:01 192.168.7.11 phone *\n");
    ASSERT_TRUE(LoadLeases(path.c_str()));
    ASSERT_TRUE(Look(kPhone)); // at 1000 s
    EXPECT_STREQ("phone", FindDevice(kPhone.data())->name);
    EXPECT_EQ(0x0B07A8C0u, FindDevice(kPhone.data())->ip);
    EXPECT_FALSE(FindDevice(kPhone.data())->present);
    EXPECT_EQ(nullptr, FindDevice(kTablet.data()));
    ASSERT_EQ(0, remove(path.c_str()));
    ASSERT_TRUE(LoadLeases(path.c_str()));
}

TEST_F(RouterDevices, NeighboursOfOtherInterfacesAreNoDevices)
{
    Hear(NeighbourMessage(2, {203, 0, 113, 1}, kTablet, NUD_REACHABLE, 0));
    Hear(BridgeMessage(kTablet, 5, 77)); // another bridge
    EXPECT_EQ(nullptr, Look(kTablet));
}

TEST_F(RouterDevices, WithoutABridgeTheAddressesAreEnough)
{
    Port(7, "eth1", true, 0);
    strcpy(config->lan, "eth1");
    NeighboursOnMessage(NeighbourMessage(7, kPhoneIp, kPhone, NUD_REACHABLE, 0).Get(), 7, now);
    EXPECT_TRUE(Look(kPhone)->present);
}

TEST_F(RouterDevices, TheAddressThatWasConfirmedLastIsShown)
{
    Hear(BridgeMessage(kPhone, 4, kLan));
    Answer({192, 168, 7, 99}, kPhone, 20000);
    Answer(kPhoneIp, kPhone, 1000);
    Answer(Bytes(16, 0xFE), kPhone, 0); // an IPv6 address counts for presence alone
    EXPECT_EQ(0x0B07A8C0u, Look(kPhone)->ip);
    now += 60000;
    EXPECT_TRUE(Look(kPhone)->present);
}

TEST_F(RouterDevices, ADeviceThatMovesToAnotherPortIsThere)
{
    Hear(BridgeMessage(kPhone, 4, kLan));
    Answer(kPhoneIp, kPhone);
    Hear(BridgeMessage(kPhone, 5, kLan));
    Hear(BridgeMessage(kPhone, 4, kLan, true)); // the news of the old port comes late
    EXPECT_TRUE(Look(kPhone)->present);
    EXPECT_EQ(1, Look(kPhone)->port);
}

TEST_F(RouterDevices, IsProbedAgainBeforeTheMinuteIsOver)
{
    Hear(BridgeMessage(kPhone, 4, kLan));
    Answer(kPhoneIp, kPhone);
    now += 24999;
    Look(kPhone);
    EXPECT_EQ(0, Probes());
    now += 1;
    EXPECT_EQ(1, Probes());
    EXPECT_EQ(0, Probes()); // once is enough
    now += 9000;
    EXPECT_EQ(1, Probes()); // unless nobody answers
}

TEST_F(RouterDevices, ANewDeviceIsProbedEverySecond)
{
    Hear(BridgeMessage(kPhone, 4, kLan));
    Hear(NeighbourMessage(kLan, kPhoneIp, kPhone, NUD_STALE, 6000));
    Look(kPhone);
    EXPECT_TRUE(DevicesUnsettled(now));
    EXPECT_EQ(1, Probes());
    now += 1000;
    EXPECT_EQ(1, Probes());
    Answer(kPhoneIp, kPhone);
    Look(kPhone);
    EXPECT_FALSE(DevicesUnsettled(now));
}

TEST_F(RouterDevices, IsProbedOnAMachineThatHasJustBegun)
{
    now = 1;
    Hear(BridgeMessage(kPhone, 4, kLan));
    Hear(NeighbourMessage(kLan, kPhoneIp, kPhone, NUD_STALE, 6000));
    Look(kPhone);
    EXPECT_EQ(1, Probes());
}

TEST_F(RouterDevices, AProbeNamesInterfaceAddressAndMac)
{
    char buffer[kProbeMessage];
    const nlmsghdr *probe = WriteProbe(buffer, 3, AF_INET, kPhoneIp.data(), kPhone.data());
    const Message expected = NeighbourMessage(3, kPhoneIp, kPhone, NUD_PROBE, 0);
    EXPECT_EQ(expected.Get()->nlmsg_type, probe->nlmsg_type);
    // Up to the age, which a question does not have.
    ASSERT_EQ(16u + 12 + 8 + 12, probe->nlmsg_len);
    EXPECT_EQ(0, memcmp(expected.Get() + 1, probe + 1, 12 + 8 + 10));
    EXPECT_TRUE(probe->nlmsg_flags & NLM_F_REQUEST);
}

// A socket pair instead of the kernel: filters are the same there.
TEST(RouterNews, OfNeighboursTheDullNewsAreLeftOutAndNothingElse)
{
    int ends[2];
    ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0, ends));
    mnl_socket *socket = mnl_socket_fdopen(ends[0]);
    ASSERT_NE(nullptr, socket);
    const auto passes = [&](const Message &message) {
        char heard[512];
        return send(ends[1], message.Get(), message.Size(), 0) == ssize_t(message.Size()) &&
               recv(ends[0], heard, sizeof heard, MSG_DONTWAIT) == ssize_t(message.Size());
    };
    const Bytes six(16, 0xFE);
    for (const bool quiet : {true, false}) {
        ASSERT_TRUE(HearLittle(socket, quiet ? kLan : 0));
        for (const uint16_t dull : {NUD_STALE, NUD_DELAY, NUD_PROBE})
            for (const Bytes &address : {kPhoneIp, six})
                EXPECT_EQ(!quiet, passes(NeighbourMessage(kLan, address, kPhone, dull, 0))) << dull;
        for (const uint16_t told : {NUD_REACHABLE, NUD_FAILED, NUD_INCOMPLETE, NUD_PERMANENT, NUD_NOARP})
            EXPECT_TRUE(passes(NeighbourMessage(kLan, kPhoneIp, kPhone, told, 0))) << told;
        // The kernel throws old entries away, also those of group addresses and of other interfaces.
        for (const uint16_t state : {NUD_STALE, NUD_FAILED})
            EXPECT_TRUE(passes(NeighbourMessage(kLan, kPhoneIp, kPhone, state, 0, true))) << state;
        EXPECT_EQ(!quiet, passes(NeighbourMessage(kLan, six, kPhone, NUD_NOARP, 0, true)));
        for (const bool gone : {false, true})
            EXPECT_EQ(!quiet, passes(NeighbourMessage(kLan + 1, kPhoneIp, kPhone, NUD_REACHABLE, 0, gone))) << gone;
        EXPECT_TRUE(passes(BridgeMessage(kPhone, 4, kLan)));
        EXPECT_TRUE(passes(BridgeMessage(kPhone, 4, kLan, true)));
        EXPECT_TRUE(passes(LinkMessage(kLan, "br-lan", true, 0, "bridge")));
    }
    mnl_socket_close(socket);
    close(ends[1]);
}

TEST_F(RouterDevices, AThousandDevicesFillTheTableAndThoseThatArePresentStay)
{
    Hear(BridgeMessage(kPhone, 4, kLan));
    Answer(kPhoneIp, kPhone);
    for (int i = 0; i < 1000; i++) {
        const Bytes mac = {2, 1, 0, 0, uint8_t(i >> 8), uint8_t(i)};
        now += 10;
        Hear(BridgeMessage(mac, 5, kLan));
        Look(mac);
        Hear(BridgeMessage(mac, 5, kLan, true));
    }
    EXPECT_TRUE(Look(kPhone)->present);
    size_t count;
    Devices(&count);
    EXPECT_EQ(kMaxDevices, count);
    EXPECT_NE(nullptr, Look({2, 1, 0, 0, 3, 0xE7})); // the last one
    EXPECT_EQ(nullptr, Look({2, 1, 0, 0, 0, 0}));    // the first one
}

TEST_F(RouterDevices, AFloodOfNeighboursReplacesTheOldest)
{
    Hear(BridgeMessage(kPhone, 4, kLan));
    Answer(kPhoneIp, kPhone);
    for (int i = 0; i < 5000; i++)
        Hear(NeighbourMessage(kLan, {10, 1, uint8_t(i >> 8), uint8_t(i)}, kTablet, NUD_STALE, 6000));
    EXPECT_TRUE(Look(kPhone)->present);
}

TEST_F(RouterDevices, MessagesCutAnywhereAreReadWithoutHarm)
{
    for (const Message &message :
         {BridgeMessage(kPhone, 4, kLan), NeighbourMessage(kLan, kPhoneIp, kPhone, NUD_REACHABLE, 0)})
        for (size_t length = sizeof(nlmsghdr); length < message.Size(); length++) Hear(message.CutTo(length));
    EXPECT_EQ(nullptr, NeighbourOf(AF_INET, Bytes{0, 0, 0, 0}.data()));
}

TEST_F(RouterDevices, RatesAreTheDifferenceOfTwoSamplesOverTheirTime)
{
    Hear(BridgeMessage(kPhone, 4, kLan));
    Look(kPhone);
    SampleBegin();
    SampleAdd(RECEIVED, kPhone.data(), 1000);
    SampleEnd(0); // nothing is known of the time before
    EXPECT_EQ(0u, FindDevice(kPhone.data())->rate[RECEIVED]);
    SampleBegin();
    SampleAdd(RECEIVED, kPhone.data(), 101000);
    SampleAdd(SENT, kPhone.data(), 4000);
    EXPECT_TRUE(SampleEnd(2000));
    EXPECT_EQ(50000u, FindDevice(kPhone.data())->rate[RECEIVED]);
    EXPECT_EQ(50000u, TotalRate(RECEIVED));
    EXPECT_EQ(2000u, TotalRate(SENT));
    SampleBegin();
    SampleAdd(RECEIVED, kPhone.data(), 500); // the rules were put back: counters start again
    SampleAdd(SENT, kPhone.data(), 4000);
    EXPECT_TRUE(SampleEnd(1000));
    EXPECT_EQ(500u, FindDevice(kPhone.data())->rate[RECEIVED]);
    EXPECT_EQ(0u, FindDevice(kPhone.data())->rate[SENT]);
    SampleBegin();
    EXPECT_FALSE(SampleEnd(1000)); // what is not told has not changed
}
