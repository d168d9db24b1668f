#include "sdk/linux/limits/Limits.h"

#include <algorithm>
#include <cstdio>

#include "sdk/linux/access/Rules.h"

// What one class may send at once beyond its rate: enough for coarse timers, and for the two packets that every shaper
// lets through.
static const int64_t kBurst = 3028;
static const int64_t kTimersASecond = 50;
// The queue of a class: half a second of its rate, and room for 21 full packets. A longer one would hold the other
// direction up, whose acknowledgements wait in it.
static const int64_t kLeastQueue = 32768;
// Packets above this size, which the network card would cut up later, are cut up before they enter the queue: one of
// 64 KiB alone would fill that of a slow limit. It is more than the greatest frame of a LAN, because longer ones that
// cannot be cut are dropped.
static const int64_t kMostPacket = 10240;

size_t WriteLimit(const char *interface, uint16_t place, int64_t bytesPerSecond, char *script, size_t size)
{
    // The kernel counts 14 bytes of Ethernet with each packet, of which most have 1500.
    const long long rate = std::clamp(std::min(bytesPerSecond, kMostRate) * 101 / 100, kLeastRate, kMostRate);
    const long long burst = kBurst + rate / kTimersASecond;
    const long long queue = std::max<int64_t>(rate / 2, kLeastQueue);
    const unsigned minor = unsigned(kFirstClass) + place;
    const int length = snprintf(script, size,
                                "class replace dev %s parent %x: classid %x:%x htb rate %lldbps ceil %lldbps "
                                "burst %lld cburst %lld quantum 1514\n"
                                "qdisc replace dev %s parent %x:%x tbf rate %lldbps burst %lld limit %lld\n",
                                interface, kQdiscMajor, kQdiscMajor, minor, rate, rate, burst, burst, interface,
                                kQdiscMajor, minor, static_cast<long long>(kMostRate),
                                static_cast<long long>(kMostPacket), std::min<long long>(queue, UINT32_MAX));
    return length > 0 && size_t(length) < size ? size_t(length) : 0;
}

size_t WriteNoLimit(const char *interface, uint16_t place, char *script, size_t size)
{
    const int length = snprintf(script, size, "class del dev %s classid %x:%x\n", interface, kQdiscMajor,
                                unsigned(kFirstClass) + place);
    return length > 0 && size_t(length) < size ? size_t(length) : 0;
}

size_t WriteLimits(const char *interface, const State *state, bool up, char *script, size_t size)
{
    int first = snprintf(script, size, "qdisc add dev %s root handle %x: htb\n", interface, kQdiscMajor);
    if (first <= 0 || size_t(first) >= size) return 0;
    size_t length = size_t(first);
    bool any = false;
    for (uint16_t i = 0; i < state->deviceCount; i++) {
        const int64_t limit = up ? state->devices[i].maxUp : state->devices[i].maxDown;
        if (limit == 0) continue;
        any = true;
        const size_t added = WriteLimit(interface, i, limit, script + length, size - length);
        if (added == 0) return 0;
        length += added;
    }
    return any ? length : 0;
}
