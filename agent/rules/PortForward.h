// PortForward.h - forwarding a TCP port of one address to another address and port, by rules of the packet filter.
//
// A forwarding is a pair of rules in the table "nat": PREROUTING rewrites the destination of what comes, POSTROUTING
// rewrites the source of what goes on, so that the answers come back this way. They live in the packet filter alone: a
// reboot of the router forgets them.
//
// State:    the parameters of the last command; they never hold a text that a shell could misread.
// Threads:  the response thread. What has been begun is carried out to its end, whatever becomes of the platform
//           session: half of it would leave the router without the old rules and without the new ones. But a command
//           that still runs 10 s after the session's teardown has found it is ended, and the next one runs.
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
    PORT_FORWARD_BAD_TEXT = -9, // an address or a port that is too long, or that is no plain word
};

// Carries out one command: an object with the texts "FLAG" (it begins with "1" to add, with "0" to delete), "PRE_IP"
// and "PRE_PORT" (where clients connect to), "POST_IP" and "POST_PORT" (where they get). An address has at most 31
// characters, a port 7; both are made of ASCII letters, digits and . : / _ - and do not begin with "-".
// Returns a PortForwardResult, the first that applies in the order of the list; only PORT_FORWARD_DONE has run
// anything. Whether the packet filter took the rules is not looked at.
int ParseRouteParam(const char *json);

// Adds the forwarding of the last command, having deleted the same one first, so that there is never a second pair. An
// earlier one with other parameters stays. Does nothing when a parameter is missing. Returns 0.
int AddRoute();

// Deletes the forwarding of the last command. Does nothing when a parameter is missing. Returns 0.
int DeleteRoute();
