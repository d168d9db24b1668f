// Benches.h - the measurements on the running agent; each prints its figures. Call EnterPrivateTmp() before.
#pragma once

// Function command to acknowledgement against bare echoes of two threads and of one: `samples` of each, in blocks by
// turns.
void MeasureLatency(int samples);

// Wake-ups of the idle daemon: `settleSeconds` after the login, for `seconds`.
void MeasureIdle(int settleSeconds, int seconds);

// Private memory of the daemon, `settleSeconds` after the login.
void MeasureMemory(int settleSeconds);

// Process start to logged in, the median of `runs`.
void MeasureStart(int runs);

// `sessions` in a row with time running `factor` times faster: descriptors, threads and memory, compared with those
// after the `warmUp`th.
void MeasureSessions(int sessions, int warmUp, double factor);

// A rate test of `megabytes` against a curl that fetches the same from the same server, the medians of `rounds` each.
void MeasureRate(int megabytes, int rounds);

// A request for the report of 128 devices to the whole report, `samples` times, without the pauses between the steps of
// a scan.
void MeasureDevices(int samples);

// The command that starts a ping to its acknowledgement, `samples` times.
void MeasurePing(int samples);

// A local peer that answers at once: a command whose answer it knows to its acknowledgement, `samples`
// times; then `frames` of its own with time running `factor` times faster, none of which may be lost.
void MeasureLocal(int samples, int frames, double factor);
