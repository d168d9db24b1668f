// ServerStop.h - the end of the connection to the platform, for whatever waits on its two threads.
//
// A command is carried out on the response thread, and the teardown of the session waits for it. So everything that a
// command waits for has to end when the teardown begins: a plain pause is WaitForServerStop(), and a wait for something
// else names a call that wakes it.
//
// State:    the run flag and the list of calls, for the life of the process; how many threads the connection has, and
//           whether one of them may take the socket.
// Threads:  as stated at each procedure.
#pragma once

#include <cstdint>

#include "os/OsAtomic.h"

extern OsAtomic<int> ServerRun; // 1 from ServerInit() until DeleteServer()

// Waits until ServerRun is not 1, at most `milliseconds`. Returns whether it is not 1. Any thread.
bool WaitForServerStop(int64_t milliseconds);

// A call that wakes a wait. Static, one for each module that waits: the list is made of these.
struct ServerStopCall {
    bool (*letGo)();      // returns true when something goes on all the same and the call is wanted again
    bool named;           // this and the next belong to ServerOnStop(); false and nullptr at first
    ServerStopCall *next; // named before this one
};

// Has DeleteServer() call `letGo` on its thread once ServerRun is cleared, in this session and in every later one. The
// call is made again a second later and, as long as any call returns true, every further second until the response
// thread has ended. Naming a call twice is naming it once. Any thread.
void ServerOnStop(ServerStopCall *call);

// ---- For TcpServer alone ----

// Says that a thread of the connection has begun (1) or ends (-1). That thread.
void CountServerThread(int change);

// Passes the socket on: from now on the other thread receives. The thread that has received so far.
void PassSocket();

// Waits until the socket is passed on, and takes it. Returns false when the connection ends instead. The other thread.
[[nodiscard]] bool AwaitSocket();

// Clears ServerRun, ends every WaitForServerStop() and AwaitSocket(), and makes the calls. Main thread.
void BeginServerStop();

// Makes the calls again, and waits until both threads have ended, repeating them as stated above. Main thread.
void AwaitServerResponse();
