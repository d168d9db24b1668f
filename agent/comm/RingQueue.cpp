#include "comm/RingQueue.h"

#include <cstring>

#include "os/OsMemory.h"
#include "os/OsWait.h"

static const int32_t kMinCount = 3;
static const int32_t kMaxCount = 50;
static const int32_t kMaxSlotSize = 9000;
static const int32_t kStorageEnd = 102421; // bytes; a queue stays below
static const int32_t kSlotOverhead = 8;    // bytes of a slot that no item may use

// Makes the lock of a queue, on the heap. Returns nullptr when that fails.
static pthread_mutex_t *NewLock()
{
    pthread_mutex_t *lock = static_cast<pthread_mutex_t *>(OsAllocate(sizeof(pthread_mutex_t)));
    if (!lock || pthread_mutex_init(lock, nullptr) == 0) return lock;
    OsFree(lock);
    return nullptr;
}

static void FreeAll(RingQueue *queue)
{
    OsFree(queue->storage);
    OsFree(queue->slots);
    queue->storage = nullptr;
    queue->slots = nullptr;
}

int32_t RingQueue_Init(RingQueue *queue, int32_t count, int32_t slotSize)
{
    if (!queue || queue->initialised) return -1;
    if (count < kMinCount || count > kMaxCount || slotSize < 1 || slotSize > kMaxSlotSize) return -1;
    if (count * slotSize >= kStorageEnd) return -1;

    queue->slots = static_cast<uint8_t **>(OsAllocate(static_cast<size_t>(count) * sizeof(uint8_t *)));
    queue->storage = static_cast<uint8_t *>(OsAllocate(static_cast<size_t>(count) * static_cast<size_t>(slotSize)));
    queue->lock = queue->slots && queue->storage ? NewLock() : nullptr;
    if (!queue->lock) {
        FreeAll(queue);
        return -1;
    }
    for (int32_t i = 0; i < count; i++) queue->slots[i] = queue->storage + i * slotSize;
    queue->count = count;
    queue->slotSize = slotSize;
    queue->head = queue->tail = 0;
    queue->initialised = 1;
    return 0;
}

void RingQueue_Destroy(RingQueue *queue)
{
    if (!queue || !queue->initialised) return;
    pthread_mutex_destroy(queue->lock);
    OsFree(queue->lock);
    queue->lock = nullptr;
    FreeAll(queue);
    queue->initialised = 0;
}

static uint32_t Next(const RingQueue *queue, uint32_t slot)
{
    return (slot + 1) % static_cast<uint32_t>(queue->count);
}

// The lock is held.
static bool Full(const RingQueue *queue)
{
    return Next(queue, queue->tail) == queue->head;
}

int32_t RingQueue_Push(RingQueue *queue, const void *data, int32_t length)
{
    if (!queue || !queue->initialised || !data) return RING_INVALID;
    if (length < 1) return RING_NO_BYTES;
    OsGuard guard(queue->lock);
    if (Full(queue)) return RING_FULL;
    if (length > queue->slotSize - kSlotOverhead) return RING_TOO_LONG;
    uint8_t *slot = queue->slots[queue->tail];
    const uint32_t bytes = static_cast<uint32_t>(length);
    memcpy(slot, &bytes, kRingLengthSize);
    memcpy(slot + kRingLengthSize, data, bytes);
    queue->tail = Next(queue, queue->tail);
    return RING_OK;
}

uint8_t *RingQueue_Pop(RingQueue *queue)
{
    if (!queue || !queue->initialised) return nullptr;
    OsGuard guard(queue->lock);
    if (queue->head == queue->tail) return nullptr;
    uint8_t *slot = queue->slots[queue->head];
    queue->head = Next(queue, queue->head);
    return slot;
}

void RingQueue_Clear(RingQueue *queue)
{
    if (!queue || !queue->initialised) return;
    OsGuard guard(queue->lock);
    queue->head = queue->tail = 0;
}

bool RingQueue_IsEmpty(const RingQueue *queue)
{
    if (!queue || !queue->initialised) return true;
    OsGuard guard(queue->lock);
    return queue->head == queue->tail;
}

bool RingQueue_IsFull(const RingQueue *queue)
{
    if (!queue || !queue->initialised) return false;
    OsGuard guard(queue->lock);
    return Full(queue);
}

int32_t RingQueue_FreeCount(const RingQueue *queue)
{
    if (!queue || !queue->initialised) return 0;
    const int32_t head = static_cast<int32_t>(queue->head.load());
    const int32_t tail = static_cast<int32_t>(queue->tail.load());
    if (head == tail) return queue->count;
    return tail < head ? head - tail : head + queue->count - tail;
}

int32_t RingQueue_UsedCount(const RingQueue *queue)
{
    if (!queue || !queue->initialised) return 0;
    const int32_t head = static_cast<int32_t>(queue->head.load());
    const int32_t tail = static_cast<int32_t>(queue->tail.load());
    return head <= tail ? tail - head : tail + queue->count - head;
}
