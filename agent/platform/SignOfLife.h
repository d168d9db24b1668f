// SignOfLife.h - for how long nothing has been heard of the platform.
//
// A heartbeat's acknowledgement counts when the response thread dispatches it. Behind a command that takes long, or a
// frame whose body comes slowly, it waits in the queue; as long as it would have to, bytes count when they arrive,
// whatever they are. The exception is a thread that stays on a command until the session ends: nothing counts then, or
// a platform that goes on acknowledging would keep it there for good.
//
// State:    the time of the last sign, on the clock that no date moves, and what the response thread does; under a
//           lock of their own.
// Threads:  as stated at each procedure.
#pragma once

#include <cstdint>

enum ResponseState {
    RESPONSE_WAITS,    // whatever comes is dispatched at once
    RESPONSE_OCCUPIED, // carries out a command, or waits for the rest of a frame
    RESPONSE_STAYS,    // on a command that only the end of the session ends
};

// Says what the response thread does from now on. By that thread, and before it starts; whoever stays says so from
// within the command.
void SetResponseState(ResponseState state);

// What it does now. Any thread.
ResponseState CurrentResponseState();

// Bytes have arrived. They are a sign of life while the response thread is occupied. Receive thread.
void NoteBytes();

// A heartbeat's acknowledgement is dispatched. Response thread.
void NoteAcknowledgement();

// Milliseconds since the last sign of life, whichever session it belonged to. Any thread.
int64_t SilenceMs();
