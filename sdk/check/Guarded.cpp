#include "sdk/check/Guarded.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <sys/mman.h>
#include <unistd.h>

namespace check
{

static const uint8_t kGuard = 0xA7;
static const size_t kBefore = 64; // guarding bytes
static const size_t kBehind = 256;

static bool IsNumber(size_t size)
{
    return size == 2 || size == 4 || size == 8;
}

Guarded::Guarded(size_t size)
    : mBefore(IsNumber(size) ? kBefore : kBefore + 1), mSize(size), mBytes(mBefore + size + kBehind)
{
    Fill(0);
}

void Guarded::Fill(uint8_t value)
{
    mFilled = value;
    std::fill(mBytes.begin(), mBytes.end(), kGuard);
    memset(Data(), value, mSize);
}

static bool AllAre(const uint8_t *at, size_t size, uint8_t value)
{
    return std::all_of(at, at + size, [value](uint8_t byte) { return byte == value; });
}

bool Guarded::Intact() const
{
    return AllAre(mBytes.data(), mBefore, kGuard) && AllAre(Data() + mSize, kBehind, kGuard);
}

bool Guarded::Untouched() const
{
    return AllAre(Data(), mSize, mFilled);
}

AtTheEdge::AtTheEdge(const void *data, size_t size)
{
    const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const size_t used = (size + page - 1) / page * page;
    mLength = used + page;
    // cppcheck-suppress invalidFunctionArg ; no file: -1 is what it has to be
    mPages = mmap(nullptr, mLength, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mPages == MAP_FAILED) throw std::bad_alloc();
    uint8_t *const begin = static_cast<uint8_t *>(mPages);
    mprotect(begin + used, page, PROT_NONE);
    mData = begin + used - size;
    memcpy(mData, data, size);
}

AtTheEdge::~AtTheEdge()
{
    munmap(mPages, mLength);
}

} // namespace check
