// CommLink.h - the connection to the local peer, and whether the local server runs. The modules that send to the peer
// or wait for the server's end use it; CommServer.h has the threads that serve the connection.
//
// State:    the flags below and the lock of the peer's socket.
// Threads:  any, unless said otherwise.
#pragma once

#include <cstddef>
#include <cstdint>

#include "os/OsAtomic.h"
#include "os/OsWait.h"

extern OsAtomic<int> CommRun;        // 1 while the server runs
extern OsAtomic<int> InstanceState;  // 1 from the start of an instance until it is joined
extern OsAtomic<int> InstanceSocket; // the peer's descriptor; 0 when there is none

// Woken when CommRun is cleared or InstanceState changes. Both are changed under it.
extern OsWaiter gCommLink;

// Waits until CommRun is cleared, at most `milliseconds`. Returns whether it is cleared.
bool CommWaitForStop(int64_t milliseconds);

// Sends `length` bytes to the peer, without waiting. Returns the number of bytes that the socket took; 0 when it took
// none; -1 without a peer or when the send failed.
[[nodiscard]] int32_t CommServerSend(const uint8_t *buffer, uint32_t length);

// Makes `fd` the peer's descriptor. -1, from an accept that failed, makes an instance that ends at once.
void CommLinkOpen(int fd);

// Closes `fd`, the peer's descriptor or -1: from now on there is no peer. Waits for a send that is under way.
void CommLinkClose(int fd);

// Ends the read that waits on the peer's socket; the connection stays open until CommLinkClose().
void CommLinkShutDown();

// Returns whether the peer has closed its connection, even if the instance has not noticed yet.
[[nodiscard]] bool CommLinkPeerGone();
