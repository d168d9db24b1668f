// CommFrame.h - the frame in which the agent and the router's management process, its local peer, talk.
//
//   offset  size  content
//   0       2     head: the characters "ZZ"
//   2       2     FuncID
//   4       4     sequence: the sender's frame counter
//   8       4     length N of the payload
//   12      2     checksum: CommChecksum() of the payload
//   14      N     payload
//
// Both directions are the same and all integers little-endian. A socket read is one frame as a rule; see CommFrameCut()
// for what holds when it is not.
//
// State:    the two sequence counters. Threads: see there; everything else is pure.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "comm/RingQueue.h"

constexpr uint8_t kCommHeadByte = 0x5A; // twice
constexpr size_t kCommHeaderSize = 14;
constexpr size_t kCommFrameMin = 15; // of a received frame: no accepted one goes without payload
constexpr size_t kCommFrameMax = 8100;
constexpr size_t kCommReadMax = 8192; // bytes of one socket read
constexpr size_t kCommSendMax = 1500; // bytes of a frame of the agent
constexpr size_t kCommSendPayloadMax = kCommSendMax - kCommHeaderSize;

// Slots of the queue of received frames, and what of one may be payload.
constexpr int32_t kCommSlots = 10;
constexpr size_t kCommSlotSize = 8200;
constexpr size_t kCommSlotPayload = kCommSlotSize - kRingLengthSize - kCommHeaderSize;

// Of the last frame that CommFrameHead() began. Under the transmit lock of the requests, or before any thread runs.
extern std::atomic<uint32_t> CommTxSeq;
// Of the last frame whose sequence was accepted. Handler thread, or before any thread runs.
extern std::atomic<uint32_t> CommRxSeq;

// A received frame that has passed all checks.
struct CommFrame {
    uint16_t funcId;
    uint32_t sequence;
    uint32_t length;  // N as the frame declares it: up to kCommSlotPayload, whatever really came
    uint8_t *payload; // kCommSlotPayload bytes in the frame's slot; what did not come is what the slot held before
};

// The sum of the bytes modulo 65536; 0 for none.
uint16_t CommChecksum(const uint8_t *payload, size_t length);

// ---- Writing ----

// Begins the agent's next frame: head, FuncID, and ++CommTxSeq as its sequence, in the first 8 bytes of `buffer`.
// Returns the sequence.
uint32_t CommFrameHead(uint8_t *buffer, uint16_t funcId);

// Completes the frame in `buffer`, whose payload of `length` bytes stands at kCommHeaderSize already: writes length and
// checksum. Returns the length of the whole frame, or 0 when that is more than `size`, the bytes of `buffer`.
size_t CommFrameSeal(uint8_t *buffer, size_t size, size_t length);

// Writes a whole frame under a sequence of the caller's own, as the peer does. `payload` may be nullptr with length 0.
// Returns the frame's length, or 0 when it is more than `size`.
size_t CommFrameWrite(uint16_t funcId, uint32_t sequence, const uint8_t *payload, size_t length, uint8_t *out,
                      size_t size);

// ---- Reading ----

// How many of the `length` bytes at `data` are the next item for the handler; 0 when it has to wait for more bytes.
//
// What a read begins with is one item whatever it is, so that each is checked and reported as it came: a frame that is
// cut off, bytes that are no frame. Only where another head follows right behind a whole frame does a new item begin;
// `further` says that `data` is such a place. A further frame that is not all there is waited for (CommFrameRest()),
// unless it announces more than a frame may have.
size_t CommFrameCut(const uint8_t *data, size_t length, bool further);

// How many bytes of a read complete the frame that the read before it has left cut off; 0 when they do not. The frame's
// `cut` bytes and those of the read stand at `data` one behind the other, `length` in all.
//
// A damaged frame is completed as well, as what follows it begins where it ends; but not from bytes that begin with a
// head of their own.
size_t CommFrameRest(const uint8_t *data, size_t cut, size_t length);

// Checks a frame in its slot (kCommSlotSize bytes): length, head, sequence, checksum, in this order; the first failure
// is logged. A sequence may not repeat the last one, and counts as used even when the checksum then fails. The declared
// length is not compared with what came, but a payload that would reach past the slot fails the checksum.
// Returns whether all is well and `frame` filled in.
bool CommFrameCheck(uint8_t *slot, CommFrame *frame);
