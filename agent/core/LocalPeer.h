// LocalPeer.h - whether the router's management process, the local peer, has ever connected.
//
// From its first connection on, the local peer reports new devices (subdev/Function40.h) and the agent's own watch
// (subdev/Function39.h) ends. The local server writes this, the two read it; neither knows the other.
//
// State:    the flag below.
// Threads:  LocalPeerReset() before the threads of the three run; LocalPeerCame() on any.
#pragma once

#include "os/OsAtomic.h"

extern OsAtomic<int> CommClientReg; // 1 once a peer has connected; it stays 1 when the peer goes

// Sets CommClientReg and wakes every thread that waits for it (core/Flags.h).
void LocalPeerCame();

// Clears CommClientReg: no peer has connected yet.
void LocalPeerReset();
