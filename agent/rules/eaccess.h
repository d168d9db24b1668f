// eaccess.h - the access daemon, which enforces the internet-access-time rules: start, stop, settings.
//
// State:    the settings below and the daemon thread's handle.
// Threads:  StartEaccess() on the main thread at start-up, and again as long as it fails; StopEaccess() there, too. The
//           daemon thread starts the two threads of iot_poll.h and waits for them. If nobody stops it, it ends with the
//           process.
#pragma once

#include <cstdint>
#include <pthread.h>

extern pthread_t eaccess_thread;

// Settings of the daemon, stored by no_feeling_daemon() and by the setters; written by the daemon thread.
extern int32_t real_vap_int;
extern int32_t no_feeling_int;
extern int32_t no_feeling_port; // the argument of the event-poll thread

enum DaemonResult { DAEMON_ENDED = 0, DAEMON_NO_THREAD = -3, DAEMON_NOT_JOINED = -7 };

// Starts the daemon and waits until its table is ready: empty, or unchanged if the last start failed. Returns 0; the
// error number if the daemon thread could not be created (then the status file is written, too); or the DaemonResult of
// a daemon that could not create its own threads.
[[nodiscard]] int StartEaccess();

// Stops the daemon that StartEaccess() started, and waits for its thread.
void StopEaccess();

// The daemon thread: runs the daemon with its fixed settings. Returns null.
void *EaccessThread(void *);

// The daemon itself: empties the table of rules (unless it repeats a failed start), starts both threads and waits for
// their end. Returns a DaemonResult.
int no_feeling_daemon(int32_t real_vap, int32_t no_feeling, int32_t port);

// Each stores its setting and returns 0.
int set_real_vap_int(int32_t value);
int set_no_feeling_int(int32_t value);
int set_no_feeling_port(int32_t value);
