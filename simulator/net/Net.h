// Net.h - TCP sockets over IPv4, all of them non-blocking and close-on-exec.
// State: none. Threads: any.
#pragma once

#include <string>

#include "protocol/Address.h"

namespace sim
{

using namespace protocol;

// A listening socket on `*address`, which becomes the real one when the port was 0. As many connections as the system
// allows may wait to be accepted. -1 with the reason.
int ListenOn(Address *address, std::string *error);

// The next waiting connection, or -1 when there is none. `*peer` is the other end.
int AcceptFrom(int listener, Address *peer);

// This end of a connection.
Address LocalAddress(int fd);

} // namespace sim
