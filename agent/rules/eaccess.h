// eaccess.h - the access daemon, which enforces the internet-access-time rules: its start, its end, its settings.
//
// State:    the settings below and the daemon thread's handle.
// Threads:  StartEaccess() from start-up, and again, on the same thread, for as long as it fails; StopEaccess() there,
//           too. The daemon thread makes the two of iot_poll.h and waits for them. Unless somebody stops it, it ends
//           with the process.
#pragma once

#include <cstdint>
#include <pthread.h>

extern pthread_t eaccess_thread;

// Settings of the daemon, stored by no_feeling_daemon() and by the setters; written by the daemon thread.
extern int32_t real_vap_int;
extern int32_t no_feeling_int;
extern int32_t no_feeling_port; // the port that the event-poll thread is given

enum DaemonResult { DAEMON_ENDED = 0, DAEMON_NO_THREAD = -3, DAEMON_NOT_JOINED = -7 };

// Starts the daemon and waits until its table is ready, empty or, when the last start has failed, as it is. Returns 0;
// the error number of the daemon thread's creation, which is also noted in the status file; or the DaemonResult of a
// daemon that could not make its own threads.
int StartEaccess();

// Stops the daemon that StartEaccess() has started, and waits for its thread.
void StopEaccess();

// The daemon thread: the daemon with its settings. Returns null.
void *EaccessThread(void *);

// The daemon itself: empties the table of rules unless a failed start is tried again, makes both threads and waits for
// their end. Returns a DaemonResult.
int no_feeling_daemon(int32_t real_vap, int32_t no_feeling, int32_t port);

// Each stores its setting and returns 0.
int set_real_vap_int(int32_t value);
int set_no_feeling_int(int32_t value);
int set_no_feeling_port(int32_t value);
