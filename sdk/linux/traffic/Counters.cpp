#include "sdk/linux/traffic/Counters.h"

#include <cstring>
#include <endian.h>
#include <linux/if_ether.h>
#include <linux/netfilter.h>
#include <linux/netfilter/nf_tables.h>
#include <linux/netfilter/nfnetlink.h>
#include <sys/socket.h>

#include "sdk/linux/access/Rules.h"
#include "sdk/linux/links/Netlink.h"

namespace
{
struct Reader {
    uint64_t header; // bytes of each packet that are none of IP's
    CounterSeen seen;
    void *user;
};
} // namespace

static uint64_t BigEndian(const nlattr *attribute)
{
    uint64_t value;
    memcpy(&value, mnl_attr_get_payload(attribute), sizeof value);
    return be64toh(value);
}

// Whether an expression is a counter; then its figures.
static bool ReadExpression(const nlattr *expression, uint64_t *bytes, uint64_t *packets)
{
    const nlattr *attributes[NFTA_EXPR_DATA + 1];
    CollectNested(expression, attributes, NFTA_EXPR_DATA);
    if (!HasRoom(attributes[NFTA_EXPR_NAME], sizeof "counter") || !attributes[NFTA_EXPR_DATA]) return false;
    if (memcmp(mnl_attr_get_payload(attributes[NFTA_EXPR_NAME]), "counter", sizeof "counter") != 0) return false;
    const nlattr *figures[NFTA_COUNTER_PACKETS + 1];
    CollectNested(attributes[NFTA_EXPR_DATA], figures, NFTA_COUNTER_PACKETS);
    if (!HasRoom(figures[NFTA_COUNTER_BYTES], 8) || !HasRoom(figures[NFTA_COUNTER_PACKETS], 8)) return false;
    *bytes = BigEndian(figures[NFTA_COUNTER_BYTES]);
    *packets = BigEndian(figures[NFTA_COUNTER_PACKETS]);
    return true;
}

static void ReadElement(const nlattr *element, const Reader *reader)
{
    const nlattr *attributes[NFTA_SET_ELEM_EXPRESSIONS + 1];
    CollectNested(element, attributes, NFTA_SET_ELEM_EXPRESSIONS);
    const nlattr *key[NFTA_DATA_VALUE + 1];
    CollectNested(attributes[NFTA_SET_ELEM_KEY], key, NFTA_DATA_VALUE);
    if (!HasRoom(key[NFTA_DATA_VALUE], 6)) return;
    uint64_t bytes = 0, packets = 0;
    bool found = attributes[NFTA_SET_ELEM_EXPR] && ReadExpression(attributes[NFTA_SET_ELEM_EXPR], &bytes, &packets);
    ForEachNested(attributes[NFTA_SET_ELEM_EXPRESSIONS],
                  [&](const nlattr *expression) { found = found || ReadExpression(expression, &bytes, &packets); });
    if (!found) return;
    const uint64_t headers = packets * reader->header;
    const uint8_t *mac = static_cast<const uint8_t *>(mnl_attr_get_payload(key[NFTA_DATA_VALUE]));
    reader->seen(reader->user, mac, bytes > headers ? bytes - headers : 0);
}

static int OnMessage(const nlmsghdr *message, void *user)
{
    const Reader *reader = static_cast<const Reader *>(user);
    if (mnl_nlmsg_get_payload_len(message) < sizeof(nfgenmsg)) return MNL_CB_OK;
    const nlattr *attributes[NFTA_SET_ELEM_LIST_ELEMENTS + 1];
    CollectAttributes(message, sizeof(nfgenmsg), attributes, NFTA_SET_ELEM_LIST_ELEMENTS);
    ForEachNested(attributes[NFTA_SET_ELEM_LIST_ELEMENTS],
                  [&](const nlattr *element) { ReadElement(element, reader); });
    return MNL_CB_OK;
}

// At the forward hook a packet starts with its IP header, at the egress hook with its Ethernet header.
static Reader MakeReader(Direction direction, CounterSeen seen, void *user)
{
    return {direction == RECEIVED ? uint64_t(ETH_HLEN) : 0, seen, user};
}

void ReadCounterMessage(const nlmsghdr *message, Direction direction, CounterSeen seen, void *user)
{
    Reader reader = MakeReader(direction, seen, user);
    OnMessage(message, &reader);
}

bool ReadCounters(mnl_socket *socket, Direction direction, CounterSeen seen, void *user)
{
    alignas(nlmsghdr) char buffer[128];
    nlmsghdr *request = mnl_nlmsg_put_header(buffer);
    request->nlmsg_type = NFNL_SUBSYS_NFTABLES << 8 | NFT_MSG_GETSETELEM;
    request->nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    nfgenmsg *header = static_cast<nfgenmsg *>(mnl_nlmsg_put_extra_header(request, sizeof *header));
    header->nfgen_family = direction == SENT ? NFPROTO_INET : NFPROTO_NETDEV;
    header->version = NFNETLINK_V0;
    mnl_attr_put_strz(request, NFTA_SET_ELEM_LIST_TABLE, RULES_TABLE);
    mnl_attr_put_strz(request, NFTA_SET_ELEM_LIST_SET, "bytes");
    Reader reader = MakeReader(direction, seen, user);
    return NetlinkAsk(socket, request, OnMessage, &reader) == 0;
}
