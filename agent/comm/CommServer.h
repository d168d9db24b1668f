// CommServer.h - the local command server: a Unix-domain socket for the router's management process, the local peer.
//
// One peer is served at a time. The accept thread makes an instance thread for it, which reads frames into the queue of
// CommHandle.h; the reaper thread joins an instance that has ended, and then the next peer is served. A peer that comes
// while another one is connected is shut out and delays the next by five seconds; one that comes while the last one is
// being reaped waits for it.
//
// State:    the listening socket, the thread handles and the queue. The connection itself is CommLink's.
// Threads:  the main thread.
#pragma once

// Starts the server. Returns 0; -1 with a log line when there is no memory or a thread cannot be made. Threads that run
// by then keep running and the queue is kept. That the socket cannot be opened is not noticed here: the accept thread
// logs it and tries again every five seconds, or ends the process with 255 when another agent has the socket.
int CommServerStart();

// Stops the server, the peer's connection included, and joins its threads. Also right after a failed start.
void CommServerStop();
