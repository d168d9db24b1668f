// TcpServer.h - the one TCP connection to the platform (a client, whatever the name says) and its two threads.
//
// State:    the socket; the run flag is that of ServerStop.h, the thread handles stand in the caller's SessionContext.
// Threads:  ServerInit() and DeleteServer() belong to the main thread; SendData() is safe from any. The two threads take
//           turns. The receive thread moves bytes into TcpQueue. When they make a frame it becomes the response thread,
//           unless there is one: it cuts frames out and hands each to the frame handler, one at a time. Before a frame
//           that may take long it passes the socket on, and the other one, which has waited for that, receives.
#pragma once

#include <cstddef>
#include <cstdint>
#include <pthread.h>

#include "platform/ServerStop.h"
#include "platform/TcpQueue.h"

enum ServerThreads { SERVER_THREADS_NONE = 0, SERVER_THREADS_RESPONSE = 1, SERVER_THREADS_BOTH = 2 };

// The threads of one session, the first two by what they are at first; zeroed at the start of every cycle. Main thread only.
struct SessionContext {
    pthread_t receiveThread;
    pthread_t responseThread;
    int32_t serverThreads; // ServerThreads
    pthread_t checkThread;
    pthread_t heartbeatThread;
    int32_t checkRunning; // 1 while there is a thread to join
    int32_t heartbeatRunning;
};

// Takes one received frame; called on the response thread, 10 ms apart.
typedef void (*FrameHandler)(const ReceivedFrame &frame);

// Sets the frame handler. Call it before the first ServerInit().
void ServerOnFrame(FrameHandler handler);

// Connects to `address` (dotted text) and `port` (blocking) and starts both threads, noting them in `context`.
// Returns 0 or -1. ServerRun is 1 even after a failure, until DeleteServer(); while it is 1, nothing can be started.
[[nodiscard]] int ServerInit(const char *address, uint16_t port, SessionContext *context);

// Has the system close the connection when the other machine does not acknowledge what was sent within
// SilenceLimitMs(). So a platform that has vanished is noticed even if it has never answered. ServerInit() calls it;
// call it again when the heartbeat interval changes. Does nothing without a connection, or on a system that has no such
// option.
void ServerFollowInterval();

// Sends one frame of 1 to 8192 bytes with a single send. Returns 0 when the socket took all of it, -1 otherwise.
// Frames are sent whole or not at all: when the socket takes only a part, the rest is kept and sent before the next
// frame at the latest; until it has been sent, every other frame is refused with -1. The rest is dropped when the
// connection closes.
[[nodiscard]] int SendData(const uint8_t *frame, size_t length);

// Stops the client: asks both threads to end (the receive thread closes the socket), pauses for one second, joins them
// and closes what is still open. Waits for a command in progress, which may go on as long as its own rules allow. Safe
// after a failed ServerInit(). Returns the last join's result.
int DeleteServer(SessionContext *context);

// Looks `host` up and stores the dotted text of its first IPv4 address in `dest` (`capacity` bytes, at least 16).
// A numeric host resolves to itself. Returns 0; -1 when the look-up fails; -2 when it brings no address and `dest`
// is empty. May block for as long as the resolver does.
[[nodiscard]] int GetServerIp(const char *host, char *dest, size_t capacity);
