// Net.h - TCP sockets over IPv4, all of them non-blocking and close-on-exec.
// State: none. Threads: any.
#pragma once

#include <string>

#include "protocol/Address.h"

namespace sim
{

using namespace protocol;

// A listening socket on `*address`, which is set to the real address if the port was 0. The backlog is the largest that
// the system allows. -1 with the reason.
int ListenOn(Address *address, std::string *error);

// Accepts the next connection; -1 if there is none. `*peer` is the other end.
int AcceptFrom(int listener, Address *peer);

// This end of a connection.
Address LocalAddress(int fd);

} // namespace sim
