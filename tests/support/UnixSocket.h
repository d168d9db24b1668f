// UnixSocket.h - local sockets by the path of their file.
// State: none. Threads: any.
#pragma once

#include <string>
#include <sys/un.h>

// The address of a path, which must fit with its terminator.
struct sockaddr_un UnixAddress(const std::string &path);

// A stream socket that is connected to whoever listens there, close-on-exec; -1 with errno when nobody takes it.
// Connecting, and each call on the socket later, gives up after ten real seconds.
int ConnectUnix(const std::string &path);
