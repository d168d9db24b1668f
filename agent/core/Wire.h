// Wire.h - the one bounded reader and the one bounded writer for bytes on the wire.
//
// Both move a cursor that does not pass the end. Once it had to, `failed` is set for good: the reader then returns
// zeros and the writer writes nothing. So callers read or write a whole record and look at `failed` once. No packed
// struct is ever laid over received bytes; integers are put together byte by byte, so neither alignment nor the host's
// byte order matters.
//
// State: none. Threads: any, one reader or writer per thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

struct WireReader {
    const uint8_t *data; // the next byte
    size_t left;         // bytes that may still be read
    bool failed;         // more was asked for than was left
};

inline WireReader WireRead(const void *data, size_t size)
{
    return {static_cast<const uint8_t *>(data), size, false};
}

// Returns the next `size` bytes in place, or nullptr (and sets `failed`) when fewer are left.
inline const uint8_t *WireTake(WireReader *r, size_t size)
{
    if (r->failed || size > r->left) {
        r->failed = true;
        r->left = 0;
        return nullptr;
    }
    const uint8_t *at = r->data;
    r->data += size;
    r->left -= size;
    return at;
}

// Copies the next `size` bytes; zeros when fewer are left.
inline void WireGetBytes(WireReader *r, void *out, size_t size)
{
    if (const uint8_t *at = WireTake(r, size))
        memcpy(out, at, size);
    else
        memset(out, 0, size);
}

inline uint8_t WireGet8(WireReader *r)
{
    const uint8_t *at = WireTake(r, 1);
    return at ? at[0] : 0;
}

inline uint16_t WireGetLe16(WireReader *r)
{
    const uint8_t *at = WireTake(r, 2);
    return at ? static_cast<uint16_t>(at[0] | at[1] << 8) : 0;
}

inline uint32_t WireGetLe32(WireReader *r)
{
    const uint32_t low = WireGetLe16(r);
    return low | static_cast<uint32_t>(WireGetLe16(r)) << 16;
}

inline uint64_t WireGetLe64(WireReader *r)
{
    const uint64_t low = WireGetLe32(r);
    return low | static_cast<uint64_t>(WireGetLe32(r)) << 32;
}

struct WireWriter {
    uint8_t *data; // the start of the room
    size_t size;   // the room
    size_t used;   // bytes written so far
    bool failed;   // something did not fit
};

inline WireWriter WireWrite(void *room, size_t size)
{
    return {static_cast<uint8_t *>(room), size, 0, false};
}

inline void WirePutBytes(WireWriter *w, const void *bytes, size_t size)
{
    if (w->failed || size > w->size - w->used) {
        w->failed = true;
        return;
    }
    if (size > 0) memcpy(w->data + w->used, bytes, size);
    w->used += size;
}

inline void WirePutZeros(WireWriter *w, size_t size)
{
    if (w->failed || size > w->size - w->used) {
        w->failed = true;
        return;
    }
    memset(w->data + w->used, 0, size);
    w->used += size;
}

inline void WirePut8(WireWriter *w, uint8_t value)
{
    WirePutBytes(w, &value, 1);
}

inline void WirePutLe16(WireWriter *w, uint16_t value)
{
    const uint8_t bytes[2] = {static_cast<uint8_t>(value), static_cast<uint8_t>(value >> 8)};
    WirePutBytes(w, bytes, sizeof bytes);
}

inline void WirePutLe32(WireWriter *w, uint32_t value)
{
    WirePutLe16(w, static_cast<uint16_t>(value));
    WirePutLe16(w, static_cast<uint16_t>(value >> 16));
}

inline void WirePutLe64(WireWriter *w, uint64_t value)
{
    WirePutLe32(w, static_cast<uint32_t>(value));
    WirePutLe32(w, static_cast<uint32_t>(value >> 32));
}
