// Counters.h - the bytes that each device has sent and received, as our rules count them.
// State:    none.
// Threads:  any; a socket belongs to whoever opened it.
//
// The layer that is counted: IP packets with their headers, as they are forwarded between the LAN and the internet. Where
// a network card cuts packets up later, one header stands for many.
#pragma once

#include <libmnl/libmnl.h>

enum Direction { SENT, RECEIVED };

typedef void (*CounterSeen)(void *user, const uint8_t mac[6], uint64_t bytes);

// Gives each device's counter to `seen`, through a socket of NETLINK_NETFILTER. False if the rules are not there or the
// kernel does not answer.
bool ReadCounters(mnl_socket *socket, Direction direction, CounterSeen seen, void *user);

// Reads one message with elements of a set. Elements without a MAC or a counter are left out.
void ReadCounterMessage(const nlmsghdr *message, Direction direction, CounterSeen seen, void *user);
