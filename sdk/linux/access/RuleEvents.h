// RuleEvents.h - who else has changed our rules: the kernel's news of nftables.
// State:    none.
// Threads:  any.
#pragma once

#include <cstdint>
#include <linux/netlink.h>

// Whether a message of nftables tells that somebody else than this library has changed our tables. `isOurs` says of a
// sender's number whether it is ours.
bool RulesTouched(const nlmsghdr *message, bool (*isOurs)(uint32_t));
