// RuleEvents.h - who else has changed our rules: the kernel's news of nftables.
// State:    none.
// Threads:  any.
#pragma once

#include <cstdint>
#include <linux/netlink.h>

// What has been heard of a change that is not complete yet.
struct RuleWatch {
    bool touched;
};

// Takes one message of nftables. Returns true if it completes a change of our tables by somebody else. `isOurs` says of
// a process or a socket's number whether it is ours: a change carries both, and one of them is enough.
bool RulesTouched(RuleWatch *watch, const nlmsghdr *message, bool (*isOurs)(uint32_t));
