// RingQueue.h - a bounded queue of byte items between one thread that puts them in and one that takes them out.
//
// Items lie in slots of one fixed size; one slot always stays free, which tells a full queue from an empty one. A slot
// is a 32-bit length in the machine's own order and that many bytes behind it.
//
// State:    all of it in the RingQueue that the caller owns, zeroed before RingQueue_Init().
// Threads:  Init and Destroy while nobody else uses the queue; one thread pushes, one thread pops, any may ask.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <pthread.h>

constexpr size_t kRingLengthSize = 4; // the length in front of an item's bytes

struct RingQueue {
    uint8_t **slots;            // `count` pointers into the storage
    uint8_t *storage;           // count * slotSize bytes
    int32_t count;              // of slots
    int32_t slotSize;           // bytes, the item's length included
    std::atomic<uint32_t> head; // the slot to be read next; changed under the lock
    std::atomic<uint32_t> tail; // the slot to be written next; changed under the lock
    pthread_mutex_t *lock;
    int32_t initialised; // 1 between RingQueue_Init() and RingQueue_Destroy()
};

// Results of RingQueue_Push().
enum RingResult {
    RING_OK = 0,
    RING_INVALID = -1,  // no queue, no data
    RING_FULL = -2,     // the item is not taken; none is ever overwritten
    RING_TOO_LONG = -6, // longer than slotSize - 8
    RING_NO_BYTES = -7, // a length below 1
};

// Makes an empty queue. Returns 0; -1 when it is there already, `count` is not 3 to 50, `slotSize` not 1 to 9000, both
// together take 102421 bytes or more, or there is no memory, and then nothing is left allocated.
int32_t RingQueue_Init(RingQueue *queue, int32_t count, int32_t slotSize);

// Frees what the queue has. A queue that is not initialised is left alone.
void RingQueue_Destroy(RingQueue *queue);

// Copies `length` bytes into the queue as one item. Returns a RingResult.
int32_t RingQueue_Push(RingQueue *queue, const void *data, int32_t length);

// Takes the oldest item out. Returns its slot, slotSize bytes, or nullptr when there is none. The slot stays as it is
// until the next pop: the one that was popped last is never among those that are written.
uint8_t *RingQueue_Pop(RingQueue *queue);

// Throws all items away. By the thread that pops.
void RingQueue_Clear(RingQueue *queue);

bool RingQueue_IsEmpty(const RingQueue *queue); // also when not initialised
bool RingQueue_IsFull(const RingQueue *queue);

// How many slots are free or used; without the lock, so that each is a moment's view. The slot that always stays free
// counts as free.
int32_t RingQueue_FreeCount(const RingQueue *queue);
int32_t RingQueue_UsedCount(const RingQueue *queue);
