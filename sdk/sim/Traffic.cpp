#include "sdk/sim/Traffic.h"

static const int64_t kSlotMs = 4000;                  // a rate holds this long
static const int64_t kSlots = 64;                     // then the pattern begins again, so that long gaps cost nothing
static const int64_t kPatternMs = kSlotMs * kSlots;   // a little over four minutes
static const uint64_t kBytesPerMegabit = 1000000 / 8; // of a link's speed
static const int64_t kNever = INT64_MAX;
static const uint64_t kFullAfterSeconds = 60; // connections have built up

enum { SEED_UP, SEED_DOWN, SEED_TCP, SEED_UDP, SEED_LINK };

// A number that looks like chance but is the same for the same device and slot, however often and whenever it is asked.
static uint32_t Chance(const Device *device, int64_t slot, uint32_t seed)
{
    uint32_t hash = 2166136261u ^ seed;
    for (uint8_t byte : device->mac) hash = (hash ^ byte) * 16777619u;
    hash = (hash ^ uint32_t(slot % kSlots)) * 16777619u;
    hash ^= hash >> 15;
    hash *= 0x85EBCA6Bu;
    return hash ^ hash >> 13;
}

static int ActiveWan(const Household *home)
{
    for (uint16_t i = 0; i < home->wanCount; i++) {
        if (home->wans[i].connected) return i;
    }
    return -1;
}

static bool DeviceUsesTheInternet(const Household *home, const Device *device)
{
    return device->access && DeviceIsThere(home, device) && ActiveWan(home) >= 0;
}

// From a tenth of the typical use to nearly twice as much.
static uint64_t RateInSlot(const Device *device, int64_t slot, bool up)
{
    uint64_t rate = up ? device->typicalUp : device->typicalDown;
    rate = rate * (100 + Chance(device, slot, up ? SEED_UP : SEED_DOWN) % 1800) / 1000;
    uint64_t max = device->speed * kBytesPerMegabit;
    const int64_t limit = up ? device->maxUp : device->maxDown;
    if (limit > 0 && uint64_t(limit) < max) max = uint64_t(limit);
    return rate < max ? rate : max;
}

static uint64_t MilliBytesBetween(const Device *device, int64_t from, int64_t to, bool up)
{
    uint64_t sum = 0;
    while (from < to) {
        if (from % kPatternMs == 0 && to - from >= kPatternMs) {
            uint64_t pattern = 0;
            for (int64_t slot = 0; slot < kSlots; slot++) pattern += RateInSlot(device, slot, up) * kSlotMs;
            const int64_t whole = (to - from) / kPatternMs;
            sum += pattern * uint64_t(whole);
            from += whole * kPatternMs;
            continue;
        }
        int64_t end = (from / kSlotMs + 1) * kSlotMs;
        if (end > to) end = to;
        sum += RateInSlot(device, from / kSlotMs, up) * uint64_t(end - from);
        from = end;
    }
    return sum;
}

// Times here count from the load of the library, as the timetable does.
static void MoveCounters(Household *home, int64_t to)
{
    if (to <= home->movedMs) return;
    for (uint16_t i = 0; i < home->deviceCount; i++) {
        Device *device = &home->devices[i];
        if (!DeviceUsesTheInternet(home, device)) continue;
        device->sentMilliBytes += MilliBytesBetween(device, home->movedMs, to, true);
        device->receivedMilliBytes += MilliBytesBetween(device, home->movedMs, to, false);
    }
    home->movedMs = to;
}

static TimetableEntry *EarliestEntry(Household *home)
{
    TimetableEntry *earliest = nullptr;
    for (uint16_t i = 0; i < home->timetableCount; i++) {
        TimetableEntry *entry = &home->timetable[i];
        if (entry->nextMs != kNever && (!earliest || entry->nextMs < earliest->nextMs)) earliest = entry;
    }
    return earliest;
}

// A clock that jumps by months must not cost millions of comings and goings: the last of them decide.
static void SkipLongPast(Household *home, int64_t now)
{
    for (uint16_t i = 0; i < home->timetableCount; i++) {
        TimetableEntry *entry = &home->timetable[i];
        if (!entry->periodMs || entry->nextMs > now) continue;
        const int64_t skip = (now - entry->nextMs) / entry->periodMs - 50;
        if (skip > 0) entry->nextMs += skip * entry->periodMs;
    }
}

void MoveHousehold(Household *home, int64_t nowMs)
{
    const int64_t now = nowMs - home->loadMs;
    SkipLongPast(home, now);
    TimetableEntry *entry;
    while ((entry = EarliestEntry(home)) && entry->nextMs <= now) {
        MoveCounters(home, entry->nextMs);
        home->devices[entry->device].online = entry->join;
        entry->nextMs = entry->periodMs ? entry->nextMs + entry->periodMs : kNever;
    }
    MoveCounters(home, now);
}

void RestartHousehold(Household *home)
{
    home->bootMs = home->movedMs;
    home->uptimeAtBoot = 0;
    for (uint16_t i = 0; i < home->deviceCount; i++) {
        home->devices[i].sentMilliBytes = 0;
        home->devices[i].receivedMilliBytes = 0;
    }
}

uint64_t UptimeSeconds(const Household *home)
{
    return home->uptimeAtBoot + uint64_t(home->movedMs - home->bootMs) / 1000;
}

uint64_t UpRate(const Household *home, const Device *device)
{
    return DeviceUsesTheInternet(home, device) ? RateInSlot(device, home->movedMs / kSlotMs, true) : 0;
}

uint64_t DownRate(const Household *home, const Device *device)
{
    return DeviceUsesTheInternet(home, device) ? RateInSlot(device, home->movedMs / kSlotMs, false) : 0;
}

uint32_t Connections(const Household *home, uint16_t wan, int udp)
{
    if (ActiveWan(home) != wan) return 0;
    uint32_t count = 0;
    for (uint16_t i = 0; i < home->deviceCount; i++) {
        const Device *device = &home->devices[i];
        if (!DeviceUsesTheInternet(home, device)) continue;
        const uint32_t chance = Chance(device, home->movedMs / kSlotMs, udp ? SEED_UDP : SEED_TCP);
        count += udp ? 2 + chance % 12 : 4 + chance % 24;
    }
    const uint64_t up = UptimeSeconds(home);
    return up >= kFullAfterSeconds ? count : uint32_t(count * up / kFullAfterSeconds);
}

uint64_t WanReceivedBytes(const Household *home, uint16_t wan)
{
    if (ActiveWan(home) != wan) return 0;
    uint64_t sum = 0;
    for (uint16_t i = 0; i < home->deviceCount; i++) sum += home->devices[i].receivedMilliBytes / 1000;
    return sum;
}

uint64_t LanPortBytes(const Household *home, uint16_t port, int up)
{
    uint64_t sum = 0;
    for (uint16_t i = 0; i < home->deviceCount; i++) {
        const Device *device = &home->devices[i];
        if (device->link != ROUTER_LINK_WIRED || device->port != port) continue;
        sum += (up ? device->sentMilliBytes : device->receivedMilliBytes) / 1000;
    }
    return sum;
}

uint16_t LinkSpeed(const Household *home, const Device *device, uint16_t which)
{
    if (!DeviceIsThere(home, device)) return 0;
    if (which == 0 || device->link == ROUTER_LINK_WIRED) return device->speed;
    const uint32_t percent = 60 + Chance(device, home->movedMs / kSlotMs, SEED_LINK + which) % 41;
    return uint16_t(device->speed * percent / 100);
}
