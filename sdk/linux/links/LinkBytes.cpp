#include "sdk/linux/links/LinkBytes.h"

#include <cstring>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include "sdk/linux/base/Result.h"
#include "sdk/linux/links/Netlink.h"

static int OnLink(const nlmsghdr *message, void *user)
{
    const nlattr *attributes[IFLA_STATS64 + 1];
    CollectAttributes(message, sizeof(ifinfomsg), attributes, IFLA_STATS64);
    if (HasRoom(attributes[IFLA_STATS64], offsetof(rtnl_link_stats64, rx_errors)))
        memcpy(user, mnl_attr_get_payload(attributes[IFLA_STATS64]), offsetof(rtnl_link_stats64, rx_errors));
    return MNL_CB_OK;
}

int ReadLinkBytes(const char *interface, uint64_t *received, uint64_t *sent)
{
    mnl_socket *socket = NetlinkOpen(NETLINK_ROUTE, nullptr, 0);
    if (!socket) return RESULT_NO_FIGURE;
    alignas(nlmsghdr) char buffer[128];
    nlmsghdr *request = mnl_nlmsg_put_header(buffer);
    request->nlmsg_type = RTM_GETLINK;
    request->nlmsg_flags = NLM_F_REQUEST | NLM_F_ACK;
    mnl_nlmsg_put_extra_header(request, sizeof(ifinfomsg));
    mnl_attr_put_strz(request, IFLA_IFNAME, interface);
    rtnl_link_stats64 stats = {};
    const int result = NetlinkAsk(socket, request, OnLink, &stats);
    mnl_socket_close(socket);
    if (result != 0) return RESULT_NO_FIGURE;
    *received = stats.rx_bytes;
    *sent = stats.tx_bytes;
    return RESULT_OK;
}
