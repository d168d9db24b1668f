// RingQueue.h - a bounded queue of byte items between one thread that pushes and one that pops.
//
// Items are kept in slots of one fixed size; one slot always stays free, so that a full queue differs from an empty
// one. A slot is a 32-bit length in the machine's own byte order, then that many bytes.
//
// State:    all of it in the RingQueue that the caller owns, zeroed before RingQueue_Init().
// Threads:  Init and Destroy while nobody else uses the queue; one thread pushes, one thread pops, any thread may ask.
#pragma once

#include <cstddef>
#include <cstdint>
#include <pthread.h>

#include "os/OsAtomic.h"

constexpr size_t kRingLengthSize = 4; // the length in front of an item's bytes

struct RingQueue {
    uint8_t **slots;         // `count` pointers into the storage
    uint8_t *storage;        // count * slotSize bytes
    int32_t count;           // of slots
    int32_t slotSize;        // bytes, with the item's length
    OsAtomic<uint32_t> head; // the slot to read next; changed under the lock
    OsAtomic<uint32_t> tail; // the slot to write next; changed under the lock
    pthread_mutex_t *lock;
    int32_t initialised; // 1 between RingQueue_Init() and RingQueue_Destroy()
};

// Results of RingQueue_Push().
enum RingResult {
    RING_OK = 0,
    RING_INVALID = -1,  // no queue, no data
    RING_FULL = -2,     // the item is dropped; none is ever overwritten
    RING_TOO_LONG = -6, // longer than slotSize - 8
    RING_NO_BYTES = -7, // a length below 1
};

// Makes an empty queue of `count` slots (3 to 50) of `slotSize` bytes (1 to 9000), below 102421 bytes in all. Returns
// 0; -1 when the queue is initialised already, an argument is out of its range or there is no memory. Then nothing
// stays allocated.
[[nodiscard]] int32_t RingQueue_Init(RingQueue *queue, int32_t count, int32_t slotSize);

// Frees the queue's memory. Does nothing to a queue that is not initialised.
void RingQueue_Destroy(RingQueue *queue);

// Copies `length` bytes into the queue as one item. Returns a RingResult.
[[nodiscard]] int32_t RingQueue_Push(RingQueue *queue, const void *data, int32_t length);

// Removes the oldest item. Returns its slot of slotSize bytes, or nullptr when the queue is empty. The slot keeps its
// content until the next pop: a push never writes to the slot that was popped last.
[[nodiscard]] uint8_t *RingQueue_Pop(RingQueue *queue);

// Drops all items. On the thread that pops.
void RingQueue_Clear(RingQueue *queue);

[[nodiscard]] bool RingQueue_IsEmpty(const RingQueue *queue); // also when not initialised
[[nodiscard]] bool RingQueue_IsFull(const RingQueue *queue);

// How many slots are free or used. They take no lock: the number may be out of date when it is returned. The slot that
// always stays free counts as free.
[[nodiscard]] int32_t RingQueue_FreeCount(const RingQueue *queue);
[[nodiscard]] int32_t RingQueue_UsedCount(const RingQueue *queue);
