// HostUse.h - use of processor and memory of the machine that the simulated router runs on.
// State:    the processor times of the last reading, to tell what was used since.
// Threads:  whoever holds the lock of Call.cpp; the two that take a text are safe anywhere.
#pragma once

#include <cstdint>

// Processor times since the machine started, in the kernel's ticks.
struct CpuTimes {
    uint64_t busy;
    uint64_t all;
};

// Reads the first line of a text like /proc/stat. 0, or -1 when it is not as expected.
[[nodiscard]] int ParseCpuTimes(const char *text, CpuTimes *times);

// The percentage in use of the memory that a text like /proc/meminfo describes; -1 when it is not as expected.
[[nodiscard]] int ParseMemoryUse(const char *text);

// Percent of the processor's time that was used since the last call (the first one: since the machine started), and of
// the memory in use. -1 when the machine does not tell.
[[nodiscard]] int HostCpuPercent();
[[nodiscard]] int HostMemoryPercent();
