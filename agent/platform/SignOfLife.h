// SignOfLife.h - for how long the platform has been silent.
//
// A heartbeat's acknowledgement counts when the response thread dispatches it. While that thread carries out a long
// command or waits for the rest of a frame, acknowledgements wait in the queue; so all bytes count then, when they
// arrive. The exception is a command that goes on until the session ends: nothing counts then, or a platform that goes
// on acknowledging would keep it going for good.
//
// State:    the time of the last sign, on the clock of OsNowMs(), and what the response thread does; under a lock of
//           their own.
// Threads:  as stated at each procedure.
#pragma once

#include <cstdint>

enum ResponseState {
    RESPONSE_WAITS,    // for a frame, which it dispatches at once, or at the end of the pause behind the last one
    RESPONSE_OCCUPIED, // by a command, or by a frame whose rest is missing
    RESPONSE_STAYS,    // with a command that only the end of the session ends
};

// Says what the response thread does from now on. Called by that thread (by a command that stays, too), and by the main
// thread before it starts.
void SetResponseState(ResponseState state);

// What it does now. Any thread.
ResponseState CurrentResponseState();

// Bytes have arrived. They are a sign of life while the response thread is occupied. Receive thread.
void NoteBytes();

// A heartbeat's acknowledgement is dispatched. Response thread.
void NoteAcknowledgement();

// Milliseconds since the last sign of life, whichever session it belonged to. Any thread.
int64_t SilenceMs();
