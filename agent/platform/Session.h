// Session.h - our side of a platform session: register, log in, stay alive, take it down.
// State:    the session values of Protool.h; the threads stand in the caller's SessionContext.
// Threads:  the main thread, but for the two threads that HeartbeatStart() makes.
#pragma once

#include <cstdint>

#include "platform/TcpServer.h"

// Registers with the server at `address` (dotted text); the connection is closed again in every case.
// Waits up to 10 s for the answer. Returns 0 with the login values filled in, or -1. Ends the process when the
// router has no usable serial number, or PIN or KEY is empty: no registration could ever succeed then.
[[nodiscard]] int RegisterStart(SessionContext *context, const char *address);

// Connects to the login server and logs in; waits up to 10 s for the answer. Returns 0 or -1 (link closed again).
[[nodiscard]] int LoginStart(SessionContext *context);

// Starts the check thread, asks the platform for its rules and starts the heartbeat thread.
// Returns 0, or -1 when a thread could not start; call DeleteHeartbear() in either case.
[[nodiscard]] int HeartbeatStart(SessionContext *context);

// Ends the session: asks both threads to stop and joins those that run.
void DeleteHeartbear(SessionContext *context);

// Asks the platform for the access rules of this router: {"MAC":"AABBCCDDEEFF"}; the answer is a command.
void RulesRequest();
