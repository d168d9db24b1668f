// CommServer.h - the local command server: a Unix-domain socket for the router's management process, the local peer.
//
// One peer is served at a time. The accept thread makes an instance thread for it, which reads frames into the queue of
// CommHandle.h; the reaper thread joins an instance that has ended, and then the next peer is served. A peer that comes
// while another one is connected is shut out and delays the next by five seconds; one that comes while the last one is
// being reaped waits for it.
//
// State:    the flags below, the listening socket, the thread handles and the queue.
// Threads:  CommServerStart() and CommServerStop() on the main thread; the rest on any.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

extern std::atomic<int> CommRun;        // 1 while the server runs
extern std::atomic<int> InstanceState;  // 1 from the start of an instance until it has been reaped
extern std::atomic<int> InstanceSocket; // the peer's descriptor; 0 when there is none

// Starts the server. Returns 0; -1 with a log line when there is no memory or a thread cannot be made. Threads that run
// by then keep running and the queue is kept. That the socket cannot be opened is not noticed here: the accept thread
// logs it and tries again every five seconds, or ends the process with 255 when another agent has the socket.
int CommServerStart();

// Stops the server, the peer's connection included, and joins its threads. Also right after a failed start.
void CommServerStop();

// Sends `length` bytes to the peer, without waiting. Returns the number of bytes taken; 0 when there were none; -1
// without a peer or when it could not be sent.
int32_t CommServerSend(const uint8_t *buffer, uint32_t length);

// Waits until CommRun is cleared, at most `milliseconds`. Returns whether it is.
bool CommWaitForStop(int64_t milliseconds);
