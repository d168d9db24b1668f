#define LOG_MODULE "CommServer"
#include "comm/CommFrame.h"

#include <cstring>

#include "core/Common.h"
#include "core/Wire.h"

OsAtomic<uint32_t> CommTxSeq;
OsAtomic<uint32_t> CommRxSeq;

static const size_t kBeginSize = 8; // head, FuncID and sequence
static const size_t kChecksumSize = 2;

static const uint8_t kHead[2] = {kCommHeadByte, kCommHeadByte};

uint16_t CommChecksum(const uint8_t *payload, size_t length)
{
    uint16_t sum = 0;
    for (size_t i = 0; i < length; i++) sum = static_cast<uint16_t>(sum + payload[i]);
    return sum;
}

// ---- Writing ----

static void Begin(uint8_t *buffer, uint16_t funcId, uint32_t sequence)
{
    WireWriter w = WireWrite(buffer, kBeginSize);
    WirePutBytes(&w, kHead, sizeof kHead);
    WirePutLe16(&w, funcId);
    WirePutLe32(&w, sequence);
}

uint32_t CommFrameHead(uint8_t *buffer, uint16_t funcId)
{
    const uint32_t sequence = ++CommTxSeq;
    Begin(buffer, funcId, sequence);
    return sequence;
}

size_t CommFrameSeal(uint8_t *buffer, size_t size, size_t length)
{
    if (size < kCommHeaderSize || length > size - kCommHeaderSize) return 0;
    WireWriter w = WireWrite(buffer + kBeginSize, kCommHeaderSize - kBeginSize);
    WirePutLe32(&w, static_cast<uint32_t>(length));
    WirePutLe16(&w, CommChecksum(buffer + kCommHeaderSize, length));
    return kCommHeaderSize + length;
}

size_t CommFrameWrite(uint16_t funcId, uint32_t sequence, const uint8_t *payload, size_t length, uint8_t *out,
                      size_t size)
{
    if (size < kCommHeaderSize || length > size - kCommHeaderSize) return 0;
    Begin(out, funcId, sequence);
    if (length > 0) memcpy(out + kCommHeaderSize, payload, length);
    return CommFrameSeal(out, size, length);
}

// ---- Reading ----

// Returns whether `data` begins with a head, or with its first byte if there is no more.
static bool BeginsLikeHead(const uint8_t *data, size_t length)
{
    return memcmp(data, kHead, length < sizeof kHead ? length : sizeof kHead) == 0;
}

// Returns the payload length that a whole header at `data` declares.
static uint32_t DeclaredLength(const uint8_t *data)
{
    WireReader r = WireRead(data + kBeginSize, kCommHeaderSize - kBeginSize);
    return WireGetLe32(&r);
}

size_t CommFrameCut(const uint8_t *data, size_t length, bool further)
{
    // A stray head byte before a frame, not a head: no FuncID has this low byte (FuncIdList.cpp).
    if (further && length > sizeof kHead && BeginsLikeHead(data, length) && data[sizeof kHead] == kCommHeadByte)
        return 1;
    if (!BeginsLikeHead(data, length)) return length;
    if (length < kCommHeaderSize) return further ? 0 : length;

    const uint32_t payload = DeclaredLength(data);
    if (payload > length - kCommHeaderSize) {
        const bool mayCome = payload <= kMaxCommFrame - kCommHeaderSize;
        return further && mayCome ? 0 : length;
    }
    const size_t end = kCommHeaderSize + payload;
    return end < length && BeginsLikeHead(data + end, length - end) ? end : length;
}

size_t CommFrameRest(const uint8_t *data, size_t cut, size_t length)
{
    if (length < kCommHeaderSize || !BeginsLikeHead(data, length)) return 0;
    const uint32_t payload = DeclaredLength(data);
    if (payload > length - kCommHeaderSize) return 0;
    WireReader r = WireRead(data + kCommHeaderSize - kChecksumSize, kChecksumSize);
    const bool whole = WireGetLe16(&r) == CommChecksum(data + kCommHeaderSize, payload);
    // A read that begins with a head holds other frames, which only happen to have enough bytes.
    if (!whole && BeginsLikeHead(data + cut, length - cut)) return 0;
    return kCommHeaderSize + payload - cut;
}

bool CommFrameCheck(uint8_t *slot, CommFrame *frame)
{
    uint32_t came;
    memcpy(&came, slot, kRingLengthSize);
    if (came < kMinCommFrame || came > kMaxCommFrame) {
        LOG_AS(LOG_LEVEL_ERR, "CommHandleProc", "Receive length error, length is %d", static_cast<int>(came));
        return false;
    }
    uint8_t *data = slot + kRingLengthSize;
    WireReader r = WireRead(data, kCommHeaderSize);
    if (memcmp(WireTake(&r, sizeof kHead), kHead, sizeof kHead) != 0) {
        LOG_AS(LOG_LEVEL_ERR, "CommHandleProc", "Receive head error.");
        return false;
    }
    frame->funcId = WireGetLe16(&r);
    frame->sequence = WireGetLe32(&r);
    frame->length = WireGetLe32(&r);
    frame->payload = data + kCommHeaderSize;
    if (frame->sequence == CommRxSeq) {
        LOG_AS(LOG_LEVEL_ERR, "CommHandleProc", "Receive  sequence error.");
        return false;
    }
    CommRxSeq = frame->sequence; // before the checksum is checked: a damaged frame cannot be sent again
    const uint16_t checksum = WireGetLe16(&r);
    if (frame->length > kCommSlotPayload || checksum != CommChecksum(frame->payload, frame->length)) {
        LOG_AS(LOG_LEVEL_ERR, "CommHandleProc", "Receive  checkSum error.");
        return false;
    }
    return true;
}
