// FakeLibraries.h - library calls that no test can make fail from outside: the resolver, socket options, cipher keys.
// Everything works until a test says otherwise; FakeLibrariesReset() makes it so again.
#pragma once

#include <initializer_list>
#include <string>
#include <sys/socket.h>

void FakeLibrariesReset();

// The resolver. A dotted address and "localhost" resolve to themselves; every other name fails until it is named here.
// No name ever leaves this machine. `addresses` are dotted texts and may be none at all; `canonical` is what the
// resolver calls the host.
void FakeHost(const std::string &name, const std::string &canonical, std::initializer_list<std::string> addresses);

// The same for a host that has an IPv6 address only.
void FakeHostWithIpv6Only(const std::string &name);

// How many look-ups there have been since the reset.
int FakeLookUps();

// The next socket() fails.
void FakeFailSocket();

// The next listen() fails.
void FakeFailListen();

// The backlog of the last listen().
int FakeListenBacklog();

// The next `times` accept4() fail.
void FakeFailAccept(int times);

// The next setsockopt() with this option fails.
void FakeFailSocketOption(int option, int level = SOL_SOCKET);

// What sockets have been told: the value of the last successful setsockopt() with this option; -1 if none.
int FakeSocketOption(int option, int level = SOL_SOCKET);

// The next send()s take no more than so many bytes each; 0: the socket is full.
void FakeSendTakes(std::initializer_list<int> bytes);

// The next AES key, for either direction, is refused.
void FakeRefuseCipherKey();
