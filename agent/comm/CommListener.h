// CommListener.h - the listening socket of the local command server, and what may stand where it belongs.
//
// Anybody may put something into the folder, so what is found there is taken away, but for the socket of another agent.
//
// State:    which socket file is ours. Threads: the accept thread (CommServer.h); after its end the one that joined it.
#pragma once

constexpr int kCommListenFailed = -1;
constexpr int kCommListenTaken = -2;

// Makes the socket at kPathCommServer, which owner and group may use (0660, whatever the umask), and listens.
//
// Returns the descriptor, close-on-exec. kCommListenTaken when another agent has the place: a socket that somebody
// listens at, of our own uid or root's. kCommListenFailed with a log line for everything else that is in the way, and
// then nothing of ours is left there.
int CommListen();

// Removes the socket file if it is still the one that was made, and closes `fd`, which is CommListen()'s.
void CommListenEnd(int fd);
