#include "sdk/sim/HostUse.h"

#include <cinttypes>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

// All that this module remembers.
static CpuTimes s_last;   // at the reading before; 0 until there was one
static int s_lastPercent; // what that one said, for calls that come faster than the kernel counts

int ParseCpuTimes(const char *text, CpuTimes *times)
{
    uint64_t t[8] = {}; // user, nice, system, idle, iowait, irq, softirq, steal; old kernels have the first four
    int found =
        sscanf(text, "cpu %" SCNu64 " %" SCNu64 " %" SCNu64 " %" SCNu64 " %" SCNu64 " %" SCNu64 " %" SCNu64 " %" SCNu64,
               &t[0], &t[1], &t[2], &t[3], &t[4], &t[5], &t[6], &t[7]);
    if (found < 4) return -1;
    uint64_t all = 0;
    for (uint64_t part : t) all += part;
    *times = {all - t[3] - t[4], all};
    return 0;
}

static bool KilobytesOf(const char *text, const char *key, uint64_t *kilobytes)
{
    const char *line = strstr(text, key);
    return line && sscanf(line + strlen(key), " %" SCNu64, kilobytes) == 1;
}

int ParseMemoryUse(const char *text)
{
    uint64_t total, available;
    if (!KilobytesOf(text, "MemTotal:", &total) || total == 0) return -1;
    if (!KilobytesOf(text, "MemAvailable:", &available)) {
        // Kernels before 3.14 do not estimate it; what is free or cache comes close.
        uint64_t buffers, cached;
        if (!KilobytesOf(text, "MemFree:", &available) || !KilobytesOf(text, "Buffers:", &buffers) ||
            !KilobytesOf(text, "\nCached:", &cached))
            return -1;
        available += buffers + cached;
    }
    if (available > total) available = total;
    return int((total - available) * 100 / total);
}

static bool ReadStart(const char *path, char *text, size_t size)
{
    const int file = open(path, O_RDONLY | O_CLOEXEC);
    if (file < 0) return false;
    const ssize_t got = read(file, text, size - 1);
    close(file);
    if (got <= 0) return false;
    text[got] = 0;
    return true;
}

int HostCpuPercent()
{
    char text[512];
    CpuTimes now;
    if (!ReadStart("/proc/stat", text, sizeof text) || ParseCpuTimes(text, &now) != 0) return -1;
    if (now.all > s_last.all) {
        const uint64_t busy = now.busy > s_last.busy ? now.busy - s_last.busy : 0; // idle times may run back a little
        const uint64_t percent = busy * 100 / (now.all - s_last.all);
        s_lastPercent = int(percent > 100 ? 100 : percent);
        s_last = now;
    }
    return s_lastPercent;
}

int HostMemoryPercent()
{
    char text[1024];
    return ReadStart("/proc/meminfo", text, sizeof text) ? ParseMemoryUse(text) : -1;
}
