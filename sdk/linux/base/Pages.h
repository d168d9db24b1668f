// Pages.h - memory for a moment: whole pages that go back to the kernel with the end of the block. What the C library
//           frees may stay with the process, and a large static buffer does.
#pragma once

#include <cstddef>
#include <sys/mman.h>

// An array of `count` zeroed Items, of which only those that are written to take memory.
template <typename Item>
class Pages
{
  public:
    explicit Pages(size_t count) : m_size(count * sizeof(Item))
    {
        // cppcheck-suppress invalidFunctionArg ; there is no file
        void *pages = mmap(nullptr, m_size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        m_items = pages == MAP_FAILED ? nullptr : static_cast<Item *>(pages);
    }
    ~Pages()
    {
        if (m_items) munmap(m_items, m_size);
    }
    Pages(const Pages &) = delete;
    Pages &operator=(const Pages &) = delete;

    Item *Get() { return m_items; } // null: there is no memory to be had

  private:
    Item *m_items;
    size_t m_size;
};
