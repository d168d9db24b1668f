// PortForward.h - forwards a TCP port of one address to another address and port, by rules of the packet filter.
//
// A forwarding is a pair of rules in the table "nat": PREROUTING rewrites the destination of incoming packets,
// POSTROUTING the source of the forwarded ones, so that the replies come back the same way. Only the packet filter
// keeps them: they are lost when the router reboots.
//
// State:    the parameters of the last command; they hold only texts that a shell cannot misread.
// Threads:  the response thread. A sequence of commands runs to its end even if the platform session ends: half of it
//           would leave the router without the old rules and without the new ones. A command that still runs 10 s
//           after the session's teardown has begun to wait for it is ended, and the next one runs.
#pragma once

enum PortForwardResult {
    PORT_FORWARD_DONE = 0,
    PORT_FORWARD_NO_TEXT = -1,
    PORT_FORWARD_NO_JSON = -2,
    PORT_FORWARD_NO_FLAG = -3,
    PORT_FORWARD_NO_PRE_IP = -4,
    PORT_FORWARD_NO_PRE_PORT = -5,
    PORT_FORWARD_NO_POST_IP = -6,
    PORT_FORWARD_NO_POST_PORT = -7,
    PORT_FORWARD_BAD_FLAG = -8,
    PORT_FORWARD_BAD_TEXT = -9, // an address or port that is too long, or has other characters than allowed
};

// Carries out one command: an object with the texts "FLAG" (it begins with "1" to add, with "0" to delete), "PRE_IP"
// and "PRE_PORT" (where clients connect), "POST_IP" and "POST_PORT" (where the connection is forwarded to). An address
// has at most 31 characters, a port 7; both are made of ASCII letters, digits and . : / _ - and do not begin with "-".
// Returns the first PortForwardResult of the list that applies; commands run only for PORT_FORWARD_DONE. Whether the
// packet filter accepted the rules is not checked.
[[nodiscard]] int ParseRouteParam(const char *json);

// Adds the forwarding of the last command. Deletes the same one first, so that the pair never exists twice. An earlier
// forwarding with other parameters stays. Does nothing if a parameter is missing. Returns 0.
int AddRoute();

// Deletes the forwarding of the last command. Does nothing if a parameter is missing. Returns 0.
int DeleteRoute();
