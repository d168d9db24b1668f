#define LOG_MODULE "TcpQueue"
#include "platform/TcpQueue.h"

#include <cstring>

#include "core/Common.h"
#include "core/Wire.h"
#include "os/OsWait.h"

static pthread_mutex_t mMutexQue = PTHREAD_MUTEX_INITIALIZER; // guards everything below
static uint8_t mData[kQueueSize];
static size_t mOffset; // fill level
static bool s_changed; // the last popup() has not looked at all of it
static bool s_begun;   // the last popup() left what is, or may be, the beginning of a frame
static bool s_taken;   // a thread is the response thread

void NewTcpQueue()
{
    OsGuard guard(&mMutexQue);
    mOffset = 0;
    s_changed = s_begun = s_taken = false;
}

int push(const uint8_t *data, size_t length)
{
    OsGuard guard(&mMutexQue);
    if (length > kQueueSize - mOffset) {
        LOG_DEBUG("over flow");
        return -1;
    }
    memcpy(mData + mOffset, data, length);
    mOffset += length;
    s_changed = true;
    return 0;
}

// Where the next magic at or after `from` starts; mOffset when there is none with a byte behind it.
static size_t FindMagic(size_t from)
{
    while (from + 2 < mOffset) {
        const uint8_t *at = static_cast<const uint8_t *>(memchr(mData + from, kFrameMagic0, mOffset - 2 - from));
        if (!at) break;
        from = static_cast<size_t>(at - mData);
        if (at[1] == kFrameMagic1) return from;
        from++;
    }
    return mOffset;
}

// Copies the frame at `start` out and moves what follows it to the front.
static void CutOut(size_t start, const FrameHeader &header, ReceivedFrame *frame)
{
    WireReader r = WireRead(mData + start, mOffset - start);
    WireTake(&r, kFrameHeaderSize);
    frame->header = header;
    WireGetBytes(&r, frame->head, header.headLen);
    WireGetBytes(&r, frame->body, header.bodyLen);
    frame->firstWord = header.bodyLen < 2 ? 0 : static_cast<uint16_t>(frame->body[0] | frame->body[1] << 8);
    memmove(mData, r.data, r.left);
    mOffset = r.left;
}

int popup(ReceivedFrame *frame)
{
    OsGuard guard(&mMutexQue);
    s_changed = s_begun = false;
    for (size_t start = FindMagic(0); start < mOffset; start = FindMagic(start + 1)) {
        FrameHeader header;
        if (!FrameReadHeader(mData + start, mOffset - start, &header)) return -1;
        if (header.bodyLen > kBodyRoom) continue;
        s_begun = mOffset - start - kFrameHeaderSize < static_cast<size_t>(header.headLen) + header.bodyLen;
        if (s_begun) return -1;
        CutOut(start, header, frame);
        s_changed = s_begun = mOffset > 0;
        return 0;
    }
    return -1;
}

bool QueueHoldsBegunFrame()
{
    OsGuard guard(&mMutexQue);
    return s_begun;
}

bool QueueTurn(bool mine)
{
    OsGuard guard(&mMutexQue);
    if (s_taken && !mine) return false;
    s_taken = s_changed;
    return s_taken;
}
