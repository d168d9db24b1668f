// HostUse.h - use of processor and memory of the machine that the simulated router runs on.
// State:    the processor times of the last reading, to tell what was used since.
// Threads:  whoever holds the lock of Call.cpp; the two that take a text are safe anywhere.
#pragma once

#include <cstdint>

struct CpuTimes {
    uint64_t busy;
    uint64_t all;
};

// Reads the first line of /proc/stat. 0, or -1 when it is not as expected.
int ParseCpuTimes(const char *text, CpuTimes *times);

// Percent of the memory that /proc/meminfo describes, or -1 when it is not as expected.
int ParseMemoryUse(const char *text);

// Percent of the processor's time used since the call before (the first: since the machine started), and of memory. -1
// when the machine does not tell.
int HostCpuPercent();
int HostMemoryPercent();
