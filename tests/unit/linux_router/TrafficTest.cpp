#include "sdk/linux/traffic/Counters.h"

#include "sdk/linux/host/Connections.h"
#include "tests/unit/linux_router/Messages.h"
#include <arpa/inet.h>
#include <cstring>
#include <gtest/gtest.h>
#include <linux/netfilter/nf_tables.h>
#include <linux/netfilter/nfnetlink.h>
#include <linux/netfilter/nfnetlink_conntrack.h>
#include <map>

using Seen = std::map<std::string, uint64_t>;

static Bytes Counter(uint64_t bytes, uint64_t packets)
{
    return Attribute(NFTA_EXPR_NAME, Text("counter")) +
           Attribute(NFTA_EXPR_DATA,
                     Attribute(NFTA_COUNTER_BYTES, Big(bytes)) + Attribute(NFTA_COUNTER_PACKETS, Big(packets)));
}

static Bytes Element(const Bytes &mac, const Bytes &expression)
{
    return Attribute(NFTA_LIST_ELEM, Attribute(NFTA_SET_ELEM_KEY, Attribute(NFTA_DATA_VALUE, mac)) + expression);
}

static Message Elements(const Bytes &elements)
{
    return Message(NFNL_SUBSYS_NFTABLES << 8 | NFT_MSG_NEWSETELEM,
                   Raw(nfgenmsg{}) + Attribute(NFTA_SET_ELEM_LIST_TABLE, Text("plug_router")) +
                       Attribute(NFTA_SET_ELEM_LIST_ELEMENTS, elements));
}

static Seen Read(const Message &message, Direction direction)
{
    Seen seen;
    ReadCounterMessage(
        message.Get(), direction,
        [](void *user, const uint8_t mac[6], uint64_t bytes) {
            (*static_cast<Seen *>(user))[std::string(reinterpret_cast<const char *>(mac), 6)] = bytes;
        },
        &seen);
    return seen;
}

static const Bytes kPhone = {2, 'p', 'h', 'o', 'n', 'e'};
static const Bytes kTablet = {2, 't', 'a', 'b', 'l', 'e'};

TEST(RouterCounters, OneElementIsOneDevice)
{
    const Message message = Elements(Element(kPhone, Attribute(NFTA_SET_ELEM_EXPR, Counter(1500, 2))) +
                                     Element(kTablet, Attribute(NFTA_SET_ELEM_EXPR, Counter(1ull << 40, 3))));
    const Seen seen = Read(message, SENT);
    ASSERT_EQ(2u, seen.size());
    EXPECT_EQ(1500u, seen.at("\2phone"));
    EXPECT_EQ(1ull << 40, seen.at("\2table"));
}

TEST(RouterCounters, ReceivedPacketsAreCountedWithoutTheirEthernetHeader)
{
    const Message message = Elements(Element(kPhone, Attribute(NFTA_SET_ELEM_EXPR, Counter(1528, 2))));
    EXPECT_EQ(1500u, Read(message, RECEIVED).at("\2phone"));
}

TEST(RouterCounters, AListOfExpressionsMayHoldTheCounter)
{
    const Message message =
        Elements(Element(kPhone, Attribute(NFTA_SET_ELEM_EXPRESSIONS,
                                           Attribute(NFTA_LIST_ELEM, Attribute(NFTA_EXPR_NAME, Text("limit")) +
                                                                         Attribute(NFTA_EXPR_DATA, {})) +
                                               Attribute(NFTA_LIST_ELEM, Counter(77, 1)))));
    EXPECT_EQ(77u, Read(message, SENT).at("\2phone"));
}

TEST(RouterCounters, ElementsWithoutMacOrCounterAreLeftOut)
{
    EXPECT_TRUE(
        Read(Elements(Element({2, 0}, Attribute(NFTA_SET_ELEM_EXPR, Counter(1, 1))) + Element(kPhone, {})), SENT)
            .empty());
}

TEST(RouterCounters, MessagesCutAnywhereAreReadWithoutHarm)
{
    const Message message = Elements(Element(kPhone, Attribute(NFTA_SET_ELEM_EXPR, Counter(1500, 2))));
    for (size_t length = sizeof(nlmsghdr); length < message.Size(); length++)
        EXPECT_TRUE(Read(message.CutTo(length), SENT).empty()) << length;
}

// ---- Connections ----

static Bytes Tuple(const Bytes &from, const Bytes &to, uint8_t protocol)
{
    return Attribute(CTA_TUPLE_IP, Attribute(CTA_IP_V4_SRC, from) + Attribute(CTA_IP_V4_DST, to)) +
           Attribute(CTA_TUPLE_PROTO, Attribute(CTA_PROTO_NUM, {protocol}));
}

static Message Tracked()
{
    nfgenmsg header = {};
    header.nfgen_family = AF_INET;
    return Message(NFNL_SUBSYS_CTNETLINK << 8 | IPCTNL_MSG_CT_NEW,
                   Raw(header) + Attribute(CTA_TUPLE_ORIG, Tuple({192, 168, 7, 11}, {203, 0, 113, 1}, IPPROTO_UDP)) +
                       Attribute(CTA_TUPLE_REPLY, Tuple({203, 0, 113, 1}, {203, 0, 113, 2}, IPPROTO_UDP)));
}

TEST(RouterConnections, BothDirectionsAreRead)
{
    Connection connection;
    ASSERT_TRUE(ReadConnection(Tracked().Get(), &connection));
    EXPECT_EQ(IPPROTO_UDP, connection.protocol);
    const uint8_t ends[4][4] = {{192, 168, 7, 11}, {203, 0, 113, 1}, {203, 0, 113, 1}, {203, 0, 113, 2}};
    for (int i = 0; i < 4; i++) EXPECT_EQ(0, memcmp(ends[i], connection.ends[i], 4)) << i;
}

TEST(RouterConnections, IncompleteMessagesAreNone)
{
    Connection connection;
    const Message message = Tracked();
    for (size_t length = sizeof(nlmsghdr); length + 4 < message.Size(); length++)
        EXPECT_FALSE(ReadConnection(message.CutTo(length).Get(), &connection)) << length;
}
