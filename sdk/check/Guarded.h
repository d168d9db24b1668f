// Guarded.h - buffers that a library is given, with bytes around them that it may not touch.
// State: one buffer each. Threads: whoever has it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace check
{

// A buffer for output. It begins at an odd address, because pointers of the contract need not be aligned.
class Guarded
{
  public:
    explicit Guarded(size_t size);

    // Fills the buffer with `value` and renews the bytes around it.
    void Fill(uint8_t value);
    uint8_t *Data() { return mBytes.data() + kBefore; }
    const uint8_t *Data() const { return mBytes.data() + kBefore; }
    size_t Size() const { return mSize; }

    bool Intact() const;    // nothing before or behind it was written
    bool Untouched() const; // it still holds what it was filled with

  private:
    static constexpr size_t kBefore = 65;
    static constexpr size_t kBehind = 256;

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
