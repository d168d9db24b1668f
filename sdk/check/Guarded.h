// Guarded.h - buffers that a library is given, with bytes around them that it may not touch.
// State: one buffer each. Threads: whoever has it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace check
{

// A buffer for output. Records and texts begin at an odd address, because the contract's are packed; a single number (2, 4
// or 8 bytes) is aligned, as any variable of its type.
class Guarded
{
  public:
    explicit Guarded(size_t size);

    // Fills the buffer with `value` and renews the bytes around it.
    void Fill(uint8_t value);
    uint8_t *Data() { return mBytes.data() + mBefore; }
    const uint8_t *Data() const { return mBytes.data() + mBefore; }
    size_t Size() const { return mSize; }

    bool Intact() const;    // nothing before or behind it was written
    bool Untouched() const; // it still holds what it was filled with

  private:
    size_t mBefore;
    size_t mSize;
    uint8_t mFilled = 0;
    std::vector<uint8_t> mBytes;
};

// A copy of `size` bytes whose last one is the last of a page, with no memory behind it: reading on is a crash.
class AtTheEdge
{
  public:
    AtTheEdge(const void *data, size_t size);
    ~AtTheEdge();
    AtTheEdge(const AtTheEdge &) = delete;
    AtTheEdge &operator=(const AtTheEdge &) = delete;

    const uint8_t *Data() const { return mData; }

  private:
    void *mPages;
    size_t mLength;
    uint8_t *mData;
};

} // namespace check
