// TcpQueue.h - the byte queue between the receive thread and the response thread, which cuts it into frames: two threads
// that take turns to be the one and the other.
//
// State:    one flat buffer, guarded by mMutexQue.
// Threads:  push() by the receive thread, popup() by the response thread, QueueTurn() by both.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/Frame.h"

constexpr size_t kQueueSize = 204800;
constexpr size_t kHeadRoom = 1024; // for a frame's head block
constexpr size_t kBodyRoom = kFrameMaxReceivedBody;

// A frame as it is cut out of the queue.
struct ReceivedFrame {
    FrameHeader header;
    uint8_t head[kHeadRoom]; // header.headLen bytes
    uint8_t body[kBodyRoom]; // header.bodyLen bytes
    uint16_t firstWord;      // the body's first two bytes, little-endian; 0 when it has fewer
};

// Empties the queue; nobody is the response thread.
void NewTcpQueue();

// Appends `length` bytes. Returns 0, or -1 when they do not fit: they are lost then, the connection goes on.
int push(const uint8_t *data, size_t length);

// Takes the first complete frame out, together with all bytes before it. Returns 0; -1 when there is none yet, and
// then nothing is removed. A header that announces a body over kBodyRoom is no frame: its magic is skipped and the
// search goes on, so that one damaged header cannot block the stream.
[[nodiscard]] int popup(ReceivedFrame *frame);

// Whether the last popup() found the beginning of a frame and not all of it, or left bytes behind the frame that it took.
// Response thread.
[[nodiscard]] bool QueueHoldsBegunFrame();

// Asks to be the response thread, or (`mine`) to stay it. Returns whether the caller is it from now on: when there are
// bytes that the last popup() has not looked at, behind the frame that it took or arrived since; and nobody else is it.
[[nodiscard]] bool QueueTurn(bool mine);
