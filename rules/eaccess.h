// eaccess.h - the access daemon, which enforces the internet-access-time rules.
// State:    none yet. Threads: StartEaccess() once, from start-up.
#pragma once

// Starts the daemon. Returns 0 or the error number of the thread's creation. There are no rules to enforce yet, so
// no thread is made and the result is always 0.
int StartEaccess();
