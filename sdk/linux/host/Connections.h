// Connections.h - how many connections the kernel is tracking.
// Threads:  any; nothing is remembered.
#pragma once

#include <cstdint>
#include <linux/netlink.h>

// The ends of a tracked connection: sender and receiver of its first packet, and of the answers.
struct Connection {
    int family;
    uint8_t protocol;
    uint8_t ends[4][16];
};

// Reads one message of the tracker. False if it is none, or incomplete.
bool ReadConnection(const nlmsghdr *message, Connection *connection);

// Counts the connections of one protocol (IPPROTO_TCP or IPPROTO_UDP), IPv4 and IPv6, of which `belongs` says so.
// RESULT_OK or RESULT_NO_FIGURE.
int CountConnections(uint8_t protocol, bool (*belongs)(void *user, const Connection &connection), void *user,
                     uint32_t *count);
