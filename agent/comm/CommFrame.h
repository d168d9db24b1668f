// CommFrame.h - the frames that the agent and the local peer (the router's management process) exchange.
//
//   offset  size  content
//   0       2     head: the characters "ZZ"
//   2       2     FuncID
//   4       4     sequence: the sender's frame counter
//   8       4     length N of the payload
//   12      2     checksum: CommChecksum() of the payload
//   14      N     payload
//
// Both directions use it; all integers are little-endian. A socket read usually brings one frame; CommFrameCut() says
// what happens when it does not.
//
// State:    the two sequence counters. Threads: see the counters; everything else is pure.
#pragma once

#include <cstddef>
#include <cstdint>

#include "comm/RingQueue.h"
#include "os/OsAtomic.h"

constexpr uint8_t kCommHeadByte = 0x5A; // twice
constexpr size_t kCommHeaderSize = 14;
constexpr size_t kMinCommFrame = 15; // bytes of a received frame: at least one of payload
constexpr size_t kMaxCommFrame = 8100;
constexpr size_t kMaxCommRead = 8192; // bytes of one socket read
constexpr size_t kMaxCommSend = 1500; // bytes of a frame of the agent
constexpr size_t kMaxCommSendPayload = kMaxCommSend - kCommHeaderSize;

// Slots of the queue of received frames, and how many bytes of a slot may be payload.
constexpr int32_t kCommSlots = 10;
constexpr size_t kCommSlotSize = 8200;
constexpr size_t kCommSlotPayload = kCommSlotSize - kRingLengthSize - kCommHeaderSize;

// Sequence of the last frame that CommFrameHead() began. Written under txLock (ComRequests.h), or before any thread
// runs.
extern OsAtomic<uint32_t> CommTxSeq;
// Sequence of the last frame that was accepted. Written by the handler thread, or before any thread runs.
extern OsAtomic<uint32_t> CommRxSeq;

// A received frame that has passed all checks.
struct CommFrame {
    uint16_t funcId;
    uint32_t sequence;
    uint32_t length;  // N as the frame declares it, at most kCommSlotPayload; fewer bytes may have come
    uint8_t *payload; // kCommSlotPayload bytes in the frame's slot; bytes that did not come are from earlier frames
};

// Returns the sum of the bytes modulo 65536; 0 for none.
[[nodiscard]] uint16_t CommChecksum(const uint8_t *payload, size_t length);

// ---- Writing ----

// Begins the agent's next frame: head, FuncID, and ++CommTxSeq as its sequence, in the first 8 bytes of `buffer`.
// Returns the sequence.
uint32_t CommFrameHead(uint8_t *buffer, uint16_t funcId);

// Completes the frame in `buffer` (`size` bytes), whose payload of `length` bytes is already at kCommHeaderSize: writes
// length and checksum. Returns the length of the whole frame, or 0 when it is longer than `size`.
[[nodiscard]] size_t CommFrameSeal(uint8_t *buffer, size_t size, size_t length);

// Writes a whole frame to `out` (`size` bytes) with a sequence of the caller's, as the peer does. `payload` may be
// nullptr with length 0. Returns the frame's length, or 0 when it is longer than `size`.
size_t CommFrameWrite(uint16_t funcId, uint32_t sequence, const uint8_t *payload, size_t length, uint8_t *out,
                      size_t size);

// ---- Reading ----

// Returns how many of the `length` bytes at `data` are the next item for the handler; 0 when more bytes are needed.
//
// The first bytes of a read are one item whatever they are, a cut-off frame or no frame at all, so that the handler
// checks and reports them as they came. A new item begins only where another head directly follows a whole frame;
// `further` says that `data` is such a place. A further frame that is not complete is waited for (CommFrameRest()),
// unless it declares more bytes than a frame may have.
[[nodiscard]] size_t CommFrameCut(const uint8_t *data, size_t length, bool further);

// Returns how many bytes of a read complete the frame that the read before it left cut off; 0 when they do not. At
// `data` are the frame's `cut` bytes, then those of the read, `length` in all.
//
// A damaged frame is completed, too, because the next frame begins where it ends; but not with bytes that begin with a
// head.
[[nodiscard]] size_t CommFrameRest(const uint8_t *data, size_t cut, size_t length);

// Checks a frame in its slot (kCommSlotSize bytes): length, head, sequence, checksum, in this order, and logs the first
// failure. A sequence may not repeat the last one; it counts as used even if the checksum then fails. The declared
// length is not compared with what came, but a payload that would reach past the slot fails the checksum. Returns true
// and fills `frame`, or false.
[[nodiscard]] bool CommFrameCheck(uint8_t *slot, CommFrame *frame);
