// CommServer.h - the local server: a Unix-domain socket for the router's management process, the local peer.
//
// One peer is served at a time. The accept thread starts an instance thread for it, which reads frames into the queue
// of CommHandle.h. The reaper thread joins an instance that has ended; then the next peer is served. A peer that
// connects while another one is connected is refused, and no peer is accepted for the next five seconds; one that
// connects while the last one is being reaped waits for that.
//
// State:    the listening socket, the thread handles and the queue. The connection itself is CommLink's.
// Threads:  the main thread.
#pragma once

// Starts the server. Returns 0; -1 with a log line when there is no memory or a thread cannot be started; then threads
// that already run go on until CommServerStop(). A socket that cannot be opened is no failure here: the accept thread
// logs it and tries again every five seconds, or ends the process with 255 when another agent has the socket.
[[nodiscard]] int CommServerStart();

// Stops the server and the peer's connection, and joins the threads. Allowed after a failed start.
void CommServerStop();
