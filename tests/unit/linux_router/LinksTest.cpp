#include "sdk/linux/links/Links.h"

#include "tests/unit/linux_router/Messages.h"
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <memory>

class RouterLinks : public testing::Test
{
  protected:
    void SetUp() override
    {
        LinksClear();
        Hear(LinkMessage(2, "eth0", true));
        Hear(LinkMessage(3, "br-lan", true, 0, "bridge"));
        Hear(LinkMessage(4, "lan2", true, 3));
        Hear(LinkMessage(5, "lan1", false, 3));
        Hear(LinkMessage(6, "wlan0", true, 3));
    }

    bool Hear(const Message &message) { return LinksOnMessage(message.Get()); }
    static bool IsRadio(int index) { return index == 6; }
    std::unique_ptr<Config> config = std::make_unique<Config>();
};

TEST_F(RouterLinks, TheBridgeIsTheLanUnlessAnotherIsConfigured)
{
    EXPECT_STREQ("br-lan", LanLink(config.get())->name);
    strcpy(config->lan, "eth0");
    EXPECT_STREQ("eth0", LanLink(config.get())->name);
    strcpy(config->lan, "none");
    EXPECT_EQ(nullptr, LanLink(config.get()));
}

TEST_F(RouterLinks, PortsAreTheWiredOnesOfTheBridgeByName)
{
    char names[ROUTER_SDK_LAN_PORTS][kMaxInterfaceName];
    ASSERT_EQ(2, PortNames(config.get(), names, IsRadio));
    EXPECT_STREQ("lan1", names[0]);
    EXPECT_STREQ("lan2", names[1]);
    strcpy(config->ports[0], "lan9"); // configured ports keep their numbers, there or not
    ASSERT_EQ(1, PortNames(config.get(), names, IsRadio));
    EXPECT_STREQ("lan9", names[0]);
}

TEST_F(RouterLinks, OfMorePortsThanThereIsRoomForTheFirstByNameAreListed)
{
    for (int i = 0; i < 30; i++) Hear(LinkMessage(100 + i, "p" + std::to_string(90 - i), true, 3));
    char names[ROUTER_SDK_LAN_PORTS][kMaxInterfaceName];
    ASSERT_EQ(16, PortNames(config.get(), names, IsRadio));
    EXPECT_STREQ("lan1", names[0]);
    EXPECT_STREQ("p61", names[2]);
    EXPECT_STREQ("p74", names[15]);
}

TEST_F(RouterLinks, WansAreThoseOfTheDefaultRoutesTheBestFirst)
{
    char names[ROUTER_SDK_WANS][kMaxInterfaceName];
    EXPECT_EQ(0, WanNames(config.get(), names));
    Hear(LinkMessage(7, "wwan0", true));
    EXPECT_TRUE(Hear(RouteMessage(7, {10, 0, 0, 1}, 300)));
    EXPECT_TRUE(Hear(RouteMessage(2, {203, 0, 113, 1}, 100)));
    ASSERT_EQ(2, WanNames(config.get(), names));
    EXPECT_STREQ("eth0", names[0]);
    EXPECT_STREQ("wwan0", names[1]);
    uint32_t gateway = 0;
    ASSERT_TRUE(DefaultGateway(2, &gateway));
    EXPECT_EQ(inet_addr("203.0.113.1"), gateway);
    Hear(LinkGone(2)); // its route goes with it
    ASSERT_EQ(1, WanNames(config.get(), names));
    EXPECT_STREQ("wwan0", names[0]);
}

TEST_F(RouterLinks, AddressesComeWithTheirMask)
{
    uint32_t ip = 0, netmask = 0;
    bool permanent = true;
    EXPECT_FALSE(FirstAddress(2, &ip, &netmask, &permanent));
    Hear(AddressMessage(2, {203, 0, 113, 7}, 22, false));
    ASSERT_TRUE(FirstAddress(2, &ip, &netmask, &permanent));
    EXPECT_EQ(inet_addr("203.0.113.7"), ip);
    EXPECT_EQ(inet_addr("255.255.252.0"), netmask);
    EXPECT_FALSE(permanent);
}

TEST_F(RouterLinks, AnAddressIsInANetworkByItsPrefixAlone)
{
    Hear(AddressMessage(3, {192, 168, 7, 1}, 20));
    const uint8_t in[] = {192, 168, 15, 9}, out[] = {192, 168, 16, 9}, own[] = {192, 168, 7, 1};
    EXPECT_TRUE(IsInNetwork(3, AF_INET, in));
    EXPECT_FALSE(IsInNetwork(3, AF_INET, out));
    EXPECT_FALSE(IsInNetwork(2, AF_INET, in));
    EXPECT_TRUE(IsOwnAddress(3, AF_INET, own));
    EXPECT_FALSE(IsOwnAddress(3, AF_INET, in));
}

TEST_F(RouterLinks, ALinkThatComesBackIsAnotherOne)
{
    EXPECT_TRUE(Hear(LinkGone(3)));
    EXPECT_EQ(nullptr, LanLink(config.get()));
    EXPECT_TRUE(Hear(LinkMessage(9, "br-lan", true, 0, "bridge")));
    EXPECT_EQ(9, LanLink(config.get())->index);
}

TEST_F(RouterLinks, TheSameNewsChangeNothing)
{
    EXPECT_FALSE(Hear(LinkMessage(4, "lan2", true, 3)));
    EXPECT_TRUE(Hear(LinkMessage(4, "lan2", false, 3)));
    EXPECT_FALSE(LinkByName("lan2")->up);
}

TEST_F(RouterLinks, NewsOfARadioTakeNothingFromItsLink)
{
    EXPECT_FALSE(Hear(WirelessNews(4, "lan2")));
    EXPECT_EQ(3, LinkByName("lan2")->master);
    EXPECT_EQ(1500u, LinkByName("lan2")->mtu);
}

TEST_F(RouterLinks, NamesThatARuleCouldNotHoldAreNoNames)
{
    Hear(LinkMessage(8, "a\" drop", true, 3));
    EXPECT_STREQ("", LinkByIndex(8)->name);
    char names[ROUTER_SDK_LAN_PORTS][kMaxInterfaceName];
    EXPECT_EQ(2, PortNames(config.get(), names, IsRadio));
}

TEST_F(RouterLinks, MoreLinksThanTheTableHoldsAreLeftOut)
{
    for (int i = 0; i < 2000; i++) Hear(LinkMessage(1000 + i, "x" + std::to_string(i), true));
    EXPECT_NE(nullptr, LinkByName("br-lan"));
    for (int i = 0; i < 2000; i++) Hear(LinkGone(1000 + i));
    EXPECT_TRUE(Hear(LinkMessage(9, "new", true)));
    EXPECT_NE(nullptr, LinkByName("new"));
}

TEST_F(RouterLinks, MessagesCutAnywhereAreReadWithoutHarm)
{
    const Message whole[] = {LinkMessage(4, "lan2", true, 3, "bridge"), AddressMessage(2, {203, 0, 113, 7}, 22),
                             RouteMessage(2, {203, 0, 113, 1}, 100)};
    for (const Message &message : whole)
        for (size_t length = sizeof(nlmsghdr); length < message.Size(); length++)
            LinksOnMessage(message.CutTo(length).Get());
    EXPECT_STREQ("br-lan", LanLink(config.get())->name);
}
