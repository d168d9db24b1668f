// OsAtomic.h - a number that one thread writes and others read.
//
// Who reads a value sees all that its writer wrote before it. That is what flags and states need, and less than
// std::atomic promises: a thread that writes one and then reads another, while a second thread does the reverse, takes
// std::atomic. A read or a write is the one load or store in place, where the operators of std::atomic are called in a
// program that is compiled for size.
//
// State: none. Threads: any.
#pragma once

#include <atomic>

template <typename T>
class OsAtomic : public std::atomic<T>
{
  public:
    using std::atomic<T>::atomic;

    [[gnu::always_inline]] operator T() const { return this->load(std::memory_order_acquire); }
    // NOLINTNEXTLINE(misc-unconventional-assign-operator): the value, as std::atomic does; two can be set in a row
    [[gnu::always_inline]] T operator=(T value)
    {
        this->store(value, std::memory_order_release);
        return value;
    }
};
