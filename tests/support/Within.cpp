#include "tests/support/Within.h"

#include <chrono>
#include <thread>

static const std::chrono::milliseconds kQuickly(2); // so long without a pause, for what is a matter of microseconds
static const std::chrono::milliseconds kPause(1);

bool Within(double seconds, const std::function<bool()> &condition)
{
    const auto begin = std::chrono::steady_clock::now();
    while (!condition()) {
        const auto waited = std::chrono::steady_clock::now() - begin;
        if (waited > std::chrono::duration<double>(seconds)) return false;
        if (waited < kQuickly)
            std::this_thread::yield();
        else
            std::this_thread::sleep_for(kPause);
    }
    return true;
}

bool Within(const std::function<bool()> &condition)
{
    return Within(10, condition);
}
