// CommListener.h - the listening socket of the local server.
//
// Any user may put something at its path, so whatever is there is removed, except the socket of another agent.
//
// State:    which socket file is ours. Threads: the accept thread (CommServer.h); after its end the one that joined it.
#pragma once

constexpr int kCommListenFailed = -1;
constexpr int kCommListenTaken = -2;

// Makes the socket at kPathCommServer, with mode 0660 whatever the umask, and listens.
//
// Returns the descriptor, close-on-exec. kCommListenTaken when another agent, of our own uid or root's, listens there.
// kCommListenFailed with a log line for every other failure; then no file of ours is left there.
[[nodiscard]] int CommListen();

// Removes the socket file if it is still the one that was made, and closes `fd`, which is CommListen()'s.
void CommListenEnd(int fd);
