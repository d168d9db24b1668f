// LocalPeer.h - whether the router's management process, the local peer, has ever connected.
//
// From its first connection on, the local peer reports new devices (subdev/Function40.h) and the agent's own watch
// (subdev/Function39.h) ends. The local server writes this, the two read it; neither knows the other.
//
// State:    the flag and the waiter below.
// Threads:  LocalPeerReset() before the threads of the three run; LocalPeerCame() on any.
#pragma once

#include "os/OsAtomic.h"
#include "os/OsWait.h"

extern OsAtomic<int> CommClientReg; // 1 once a peer has connected; it stays 1 when the peer goes

// Woken when CommClientReg becomes 1. A thread that waits for that and for its own run flag guards the flag with this
// waiter, too. Nothing else is locked while it is held.
extern OsWaiter gLocalPeer;

// Sets CommClientReg and wakes every thread that waits for it.
void LocalPeerCame();

// Clears CommClientReg: no peer has connected yet.
void LocalPeerReset();
