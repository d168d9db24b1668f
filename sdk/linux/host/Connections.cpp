#include "sdk/linux/host/Connections.h"

#include <cstring>
#include <initializer_list>
#include <linux/netfilter/nfnetlink.h>
#include <linux/netfilter/nfnetlink_conntrack.h>
#include <sys/socket.h>

#include "sdk/linux/base/Result.h"
#include "sdk/linux/links/Netlink.h"

namespace
{
struct Count {
    uint8_t protocol;
    bool (*belongs)(void *user, const Connection &connection);
    void *user;
    uint32_t count;
};
} // namespace

static bool ReadTuple(const nlattr *nest, int family, uint8_t from[16], uint8_t to[16], uint8_t *protocol)
{
    const nlattr *tuple[CTA_TUPLE_PROTO + 1], *ip[CTA_IP_V6_DST + 1], *proto[CTA_PROTO_NUM + 1];
    CollectNested(nest, tuple, CTA_TUPLE_PROTO);
    CollectNested(tuple[CTA_TUPLE_IP], ip, CTA_IP_V6_DST);
    CollectNested(tuple[CTA_TUPLE_PROTO], proto, CTA_PROTO_NUM);
    const size_t size = family == AF_INET ? 4 : 16;
    const nlattr *sender = ip[family == AF_INET ? CTA_IP_V4_SRC : CTA_IP_V6_SRC];
    const nlattr *receiver = ip[family == AF_INET ? CTA_IP_V4_DST : CTA_IP_V6_DST];
    if (!HasRoom(sender, size) || !HasRoom(receiver, size) || !HasRoom(proto[CTA_PROTO_NUM], 1)) return false;
    memcpy(from, mnl_attr_get_payload(sender), size);
    memcpy(to, mnl_attr_get_payload(receiver), size);
    *protocol = mnl_attr_get_u8(proto[CTA_PROTO_NUM]);
    return true;
}

bool ReadConnection(const nlmsghdr *message, Connection *connection)
{
    if (NFNL_SUBSYS_ID(message->nlmsg_type) != NFNL_SUBSYS_CTNETLINK) return false;
    if (mnl_nlmsg_get_payload_len(message) < sizeof(nfgenmsg)) return false;
    const int family = static_cast<const nfgenmsg *>(mnl_nlmsg_get_payload(message))->nfgen_family;
    if (family != AF_INET && family != AF_INET6) return false;
    const nlattr *attributes[CTA_TUPLE_REPLY + 1];
    CollectAttributes(message, sizeof(nfgenmsg), attributes, CTA_TUPLE_REPLY);
    memset(connection, 0, sizeof *connection);
    connection->family = family;
    uint8_t(*ends)[16] = connection->ends;
    return ReadTuple(attributes[CTA_TUPLE_ORIG], family, ends[0], ends[1], &connection->protocol) &&
           ReadTuple(attributes[CTA_TUPLE_REPLY], family, ends[2], ends[3], &connection->protocol);
}

static int OnConnection(const nlmsghdr *message, void *user)
{
    Count *count = static_cast<Count *>(user);
    Connection connection;
    if (ReadConnection(message, &connection) && connection.protocol == count->protocol &&
        count->belongs(count->user, connection))
        count->count++;
    return MNL_CB_OK;
}

int CountConnections(uint8_t protocol, bool (*belongs)(void *user, const Connection &connection), void *user,
                     uint32_t *count)
{
    mnl_socket *socket = NetlinkOpen(NETLINK_NETFILTER, nullptr, 0);
    if (!socket) return RESULT_NO_FIGURE;
    Count all = {protocol, belongs, user, 0};
    bool good = true;
    for (const int family : {AF_INET, AF_INET6}) {
        alignas(nlmsghdr) char buffer[64];
        nlmsghdr *request = mnl_nlmsg_put_header(buffer);
        request->nlmsg_type = NFNL_SUBSYS_CTNETLINK << 8 | IPCTNL_MSG_CT_GET;
        request->nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
        nfgenmsg *header = static_cast<nfgenmsg *>(mnl_nlmsg_put_extra_header(request, sizeof *header));
        header->nfgen_family = uint8_t(family);
        header->version = NFNETLINK_V0;
        good = good && NetlinkAsk(socket, request, OnConnection, &all) == 0;
    }
    mnl_socket_close(socket);
    if (!good) return RESULT_NO_FIGURE;
    *count = all.count;
    return RESULT_OK;
}
