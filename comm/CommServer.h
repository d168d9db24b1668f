// CommServer.h - the local command server for the router's management process.
// State:    none yet. Threads: CommServerStart() once, from start-up.
#pragma once

// Starts the server. Returns 0 or -1. No local peer is served yet, so nothing is opened and the result is 0.
int CommServerStart();
