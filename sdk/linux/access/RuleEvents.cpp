#include "sdk/linux/access/RuleEvents.h"

#include <arpa/inet.h>
#include <cstring>
#include <linux/netfilter/nf_tables.h>
#include <linux/netfilter/nfnetlink.h>

#include "sdk/linux/access/Rules.h"
#include "sdk/linux/links/Netlink.h"

// The first attribute of all these kinds of messages is the name of the table.
static_assert(int(NFTA_TABLE_NAME) == 1 && int(NFTA_CHAIN_TABLE) == 1 && int(NFTA_RULE_TABLE) == 1 &&
                  int(NFTA_SET_TABLE) == 1 && int(NFTA_SET_ELEM_LIST_TABLE) == 1,
              "the name of the table");

static bool IsOurTable(const nlmsghdr *message)
{
    const nlattr *attributes[2];
    CollectAttributes(message, sizeof(nfgenmsg), attributes, 1);
    return HasRoom(attributes[1], sizeof RULES_TABLE) &&
           memcmp(mnl_attr_get_payload(attributes[1]), RULES_TABLE, sizeof RULES_TABLE) == 0;
}

// The last message of a change names the process that made it.
static bool EndsByUs(const nlmsghdr *message, bool (*isOurs)(uint32_t))
{
    const nlattr *attributes[NFTA_GEN_PROC_PID + 1];
    CollectAttributes(message, sizeof(nfgenmsg), attributes, NFTA_GEN_PROC_PID);
    const nlattr *process = attributes[NFTA_GEN_PROC_PID];
    return HasRoom(process, 4) && isOurs(ntohl(mnl_attr_get_u32(process)));
}

bool RulesTouched(RuleWatch *watch, const nlmsghdr *message, bool (*isOurs)(uint32_t))
{
    if (NFNL_SUBSYS_ID(message->nlmsg_type) != NFNL_SUBSYS_NFTABLES) return false;
    if (mnl_nlmsg_get_payload_len(message) < sizeof(nfgenmsg)) return false;
    switch (NFNL_MSG_TYPE(message->nlmsg_type)) {
    case NFT_MSG_DELTABLE:
    case NFT_MSG_NEWCHAIN:
    case NFT_MSG_DELCHAIN:
    case NFT_MSG_NEWRULE:
    case NFT_MSG_DELRULE:
    case NFT_MSG_DELSET:
    case NFT_MSG_NEWSETELEM:
    case NFT_MSG_DELSETELEM:
        if (IsOurTable(message) && !isOurs(message->nlmsg_pid)) watch->touched = true;
        return false;
    case NFT_MSG_NEWGEN: {
        const bool theirs = watch->touched && !EndsByUs(message, isOurs);
        watch->touched = false;
        return theirs;
    }
    default: return false;
    }
}
