#include "sdk/linux/cache/Devices.h"

#include <cstring>
#include <linux/neighbour.h>
#include <sys/socket.h>

#include "sdk/linux/leases/Leases.h"
#include "sdk/linux/links/Links.h"
#include "sdk/linux/neighbours/Neighbours.h"
#include "sdk/linux/wifi/Radios.h"

static const int64_t kPresentMs = 60000; // after the last answer
static const int64_t kProbeMs = 25000;   // after the last answer, the next probe is due
static const int64_t kRetryMs = 9000;    // between probes that nobody has answered
static const int64_t kSettleMs = 12000;  // a device that has just come is probed more often
static const int64_t kSettleRetryMs = 900;
static const int64_t kGiveUpMs = 180000; // a device with a lease that has not answered for so long is gone
static const size_t kHash = 2048;        // more than twice kMaxDevices, a power of two

namespace
{
// What is known of a device besides what is shown of it.
struct Track {
    bool inBridge;   // the bridge table has it
    uint16_t lease;  // place + 1 of its lease; 0: none
    int portIndex;   // number of the port's interface; 0: not known
    uint32_t ip;     // the one that is to be shown
    int64_t ipMs;    // behind the confirmation of that address; 0: it is not confirmed
    int64_t knownMs; // when it was last heard of
    int64_t confirmedMs;
    int64_t probedMs;
    int64_t arrivedMs;   // when it came to its port, if it is in the bridge table
    uint64_t bytes[2];   // by Direction; as the counters stood at the last sample
    uint64_t sampled[2]; // in the sample under way
};
} // namespace

// All that this module remembers. The cache thread alone changes it: what is shown under the lock, the rest without.
static pthread_mutex_t s_lock = PTHREAD_MUTEX_INITIALIZER;
static struct {
    Device devices[kMaxDevices]; // shown, as are the next three
    size_t count;                // places that were ever used
    uint16_t places[kHash];      // place + 1 of the device whose MAC leads here, or to one before; 0 for none
    uint64_t totalRate[2];
    Track tracks[kMaxDevices];
} s_table;

pthread_mutex_t *DevicesLock()
{
    return &s_lock;
}

void DevicesClear()
{
    Lock lock(&s_lock);
    memset(&s_table, 0, sizeof s_table);
}

const Device *Devices(size_t *count)
{
    *count = s_table.count;
    return s_table.devices;
}

// ---- Places ----

static size_t HashOf(const uint8_t mac[6])
{
    uint32_t sum = 2166136261u;
    for (size_t i = 0; i < kMacSize; i++) sum = (sum ^ mac[i]) * 16777619u;
    return (sum ^ sum >> 16) % kHash;
}

// The place of a device, or kMaxDevices.
static size_t PlaceOf(const uint8_t mac[6])
{
    for (size_t i = HashOf(mac);; i = (i + 1) % kHash) {
        if (!s_table.places[i]) return kMaxDevices;
        const size_t place = s_table.places[i] - 1u;
        if (SameMac(s_table.devices[place].mac, mac)) return place;
    }
}

const Device *FindDevice(const uint8_t mac[6])
{
    const size_t place = PlaceOf(mac);
    return place < kMaxDevices ? &s_table.devices[place] : nullptr;
}

static Track *FindTrack(const uint8_t mac[6])
{
    const size_t place = PlaceOf(mac);
    return place < kMaxDevices ? &s_table.tracks[place] : nullptr;
}

static void EnterHash(const uint8_t mac[6], size_t place)
{
    size_t i = HashOf(mac);
    while (s_table.places[i]) i = (i + 1) % kHash;
    s_table.places[i] = uint16_t(place + 1);
}

// Takes the place of the absent device that was heard of longest ago, and leaves no trace of that one.
static size_t ReplaceOldest()
{
    size_t oldest = kMaxDevices;
    for (size_t i = 0; i < s_table.count; i++) {
        if (s_table.devices[i].present) continue;
        if (oldest == kMaxDevices || s_table.tracks[i].knownMs < s_table.tracks[oldest].knownMs) oldest = i;
    }
    if (oldest == kMaxDevices) return oldest;
    memset(&s_table.devices[oldest], 0, sizeof(Device));
    memset(s_table.places, 0, sizeof s_table.places);
    for (size_t i = 0; i < s_table.count; i++)
        if (i != oldest) EnterHash(s_table.devices[i].mac, i);
    return oldest;
}

static Track *MakeTrack(const uint8_t mac[6], int64_t now)
{
    Track *track = FindTrack(mac);
    if (track) return track;
    Lock lock(&s_lock);
    const size_t place = s_table.count < kMaxDevices ? s_table.count++ : ReplaceOldest();
    if (place == kMaxDevices) return nullptr;
    s_table.devices[place] = {};
    memcpy(s_table.devices[place].mac, mac, kMacSize);
    EnterHash(mac, place);
    track = &s_table.tracks[place];
    *track = {};
    track->knownMs = now;
    return track;
}

// ---- The table ----

static void FromBridge(const Link *lan, int64_t now)
{
    size_t count;
    const BridgeEntry *entries = BridgeEntries(&count);
    for (size_t i = 0; i < count; i++) {
        const Link *port = entries[i].port ? LinkByIndex(entries[i].port) : nullptr;
        if (!port || port->master != lan->index) continue;
        Track *track = MakeTrack(entries[i].mac, now);
        if (!track) continue;
        track->portIndex = entries[i].port;
        track->arrivedMs = entries[i].sinceMs;
        track->inBridge = true;
        track->knownMs = now;
    }
}

// The bridge may not have heard a station that says little, or have forgotten it with the carrier of its radio.
static void FromStations(const Link *lan, int64_t now)
{
    size_t count;
    const Station *stations = Stations(&count);
    for (size_t i = 0; i < count; i++) {
        const Link *radio = LinkByIndex(stations[i].radio);
        if (radio && radio->master == lan->index) MakeTrack(stations[i].mac, now);
    }
}

static void FromNeighbours(const Link *lan, int64_t now)
{
    size_t count;
    const Neighbour *neighbours = Neighbours(&count);
    for (size_t i = 0; i < count; i++) {
        const Neighbour &neighbour = neighbours[i];
        if (!neighbour.family) continue;
        // Behind a bridge a device is first of all a MAC at a port; without one, its addresses are all there is.
        Track *track = lan->isBridge ? FindTrack(neighbour.mac) : MakeTrack(neighbour.mac, now);
        if (!track) continue;
        if (!lan->isBridge) track->portIndex = lan->index;
        if (neighbour.confirmedMs > track->confirmedMs) track->confirmedMs = neighbour.confirmedMs;
        if (neighbour.family != AF_INET || neighbour.confirmedMs < track->ipMs) continue;
        track->ipMs = neighbour.confirmedMs + 1;
        memcpy(&track->ip, neighbour.address, sizeof track->ip);
    }
}

static void FromLeases(int64_t now, int64_t wallSeconds)
{
    size_t count;
    const Lease *leases = Leases(&count);
    for (size_t i = 0; i < count; i++) {
        const Lease &lease = leases[i];
        if (lease.expires != 0 && lease.expires <= wallSeconds) continue;
        Track *track = MakeTrack(lease.mac, now);
        if (!track) continue;
        track->lease = uint16_t(i + 1);
        if (!track->ipMs) track->ip = lease.ip;
    }
}

namespace
{
// The ports and wireless networks in the order of their numbers.
struct Numbers {
    int ports[ROUTER_SDK_LAN_PORTS];
    uint16_t portCount;
};
} // namespace

static Numbers NumberPorts(const Config *config)
{
    Numbers numbers = {};
    char names[ROUTER_SDK_LAN_PORTS][kMaxInterfaceName];
    numbers.portCount = PortNames(config, names, IsWireless);
    for (uint16_t i = 0; i < numbers.portCount; i++) {
        const Link *link = LinkByName(names[i]);
        numbers.ports[i] = link ? link->index : 0;
    }
    return numbers;
}

// How a device is connected, and whether its port can carry it.
static bool PlaceAtPort(Device *device, Track *track, const Station *station, const Numbers &numbers)
{
    if (station) track->portIndex = station->radio;
    const Link *port = track->portIndex ? LinkByIndex(track->portIndex) : nullptr;
    const Radio *radio = track->portIndex ? RadioByIndex(track->portIndex) : nullptr;
    device->link = !radio                    ? uint8_t(ROUTER_LINK_WIRED)
                   : radio->frequency < 4000 ? uint8_t(ROUTER_LINK_WIFI_2G)
                                             : uint8_t(ROUTER_LINK_WIFI_5G);
    device->port = 0;
    if (radio) device->port = SsidIndexOf(radio->name);
    for (uint16_t i = 0; !radio && i < numbers.portCount; i++)
        if (numbers.ports[i] && numbers.ports[i] == track->portIndex) device->port = i;
    if (station) {
        device->speed[1] = station->receive;
        device->speed[2] = station->transmit;
        device->speed[0] = station->transmit > station->receive ? station->transmit : station->receive;
    } else {
        device->speed[0] = device->speed[1] = device->speed[2] = port ? port->speed : 0;
    }
    // A radio knows its stations: one that has left it is gone, whatever the bridge still remembers.
    return port && port->up && (!radio || station);
}

// Puts a device's new record in place of the one that is shown.
static void Show(size_t place, const Device &device)
{
    if (memcmp(&device, &s_table.devices[place], sizeof device) == 0) return;
    Lock lock(&s_lock);
    s_table.devices[place] = device;
}

void DevicesRefresh(const Config *config, int64_t now, int64_t wallSeconds)
{
    const Link *lan = LanLink(config);
    for (size_t i = 0; i < s_table.count; i++) {
        Track &track = s_table.tracks[i];
        track.inBridge = false;
        track.lease = 0;
        track.ipMs = 0;
        if (lan || !s_table.devices[i].present) continue;
        Device device = s_table.devices[i];
        device.present = false;
        Show(i, device);
    }
    if (!lan) return;
    FromBridge(lan, now);
    FromStations(lan, now);
    FromNeighbours(lan, now);
    FromLeases(now, wallSeconds);
    const Numbers numbers = NumberPorts(config);
    size_t leaseCount;
    const Lease *leases = Leases(&leaseCount);
    for (size_t i = 0; i < s_table.count; i++) {
        Device device = s_table.devices[i];
        Track &track = s_table.tracks[i];
        const Station *station = StationOf(device.mac);
        const bool carried = PlaceAtPort(&device, &track, station, numbers) && lan->up;
        const bool known = !lan->isBridge || track.inBridge || track.lease || station;
        device.present = carried && known && track.confirmedMs != 0 && now - track.confirmedMs <= kPresentMs;
        device.ip = track.ip;
        if (track.lease) CopyText(device.name, sizeof device.name, leases[track.lease - 1].name);
        if (device.present) track.knownMs = now;
        Show(i, device);
    }
}

// ---- Probes ----

bool DevicesUnsettled(int64_t now)
{
    size_t count;
    const BridgeEntry *entries = BridgeEntries(&count);
    for (size_t i = 0; i < count; i++) {
        if (!entries[i].port || now - entries[i].sinceMs > kSettleMs) continue;
        const Device *device = FindDevice(entries[i].mac);
        if (device && !device->present) return true;
    }
    return false;
}

static bool IsDue(const Track &track, const uint8_t mac[6], const Link *lan, int64_t now)
{
    const Link *port = track.portIndex ? LinkByIndex(track.portIndex) : nullptr;
    if (!port || !port->up || (track.confirmedMs && now - track.confirmedMs < kProbeMs)) return false;
    const bool mayBeThere =
        track.inBridge || !lan->isBridge || StationOf(mac) || (track.lease && now - track.confirmedMs < kGiveUpMs);
    const bool isNew = track.inBridge && now - track.arrivedMs < kSettleMs;
    return mayBeThere && (!track.probedMs || now - track.probedMs >= (isNew ? kSettleRetryMs : kRetryMs));
}

static void AddProbe(Probe *probe, int lan, uint8_t family, const void *address, size_t size, const uint8_t mac[6])
{
    *probe = {lan, family, {}, {}};
    memcpy(probe->address, address, size);
    memcpy(probe->mac, mac, sizeof probe->mac);
}

size_t DevicesProbe(const Config *config, int64_t now, Probe *probes, size_t room)
{
    const Link *lan = LanLink(config);
    if (!lan) return 0;
    bool due[kMaxDevices] = {};
    bool asked[kMaxDevices] = {};
    bool any = false;
    for (size_t i = 0; i < s_table.count; i++) {
        due[i] = IsDue(s_table.tracks[i], s_table.devices[i].mac, lan, now);
        any = any || due[i];
    }
    if (!any) return 0;
    size_t used = 0, count;
    const Neighbour *neighbours = Neighbours(&count);
    for (size_t i = 0; i < count && used < room; i++) {
        const Neighbour &neighbour = neighbours[i];
        const size_t place = neighbour.family ? PlaceOf(neighbour.mac) : kMaxDevices;
        if (place == kMaxDevices || !due[place]) continue;
        asked[place] = true;
        AddProbe(&probes[used++], lan->index, neighbour.family, neighbour.address, sizeof neighbour.address,
                 neighbour.mac);
    }
    for (size_t i = 0; i < s_table.count; i++) {
        Track &track = s_table.tracks[i];
        if (!due[i]) continue;
        track.probedMs = now;
        // The kernel has forgotten it: asked at the address that it had last, unless another device has that now.
        uint8_t address[16] = {};
        memcpy(address, &track.ip, sizeof track.ip);
        if (!asked[i] && track.ip && used < room && !NeighbourOf(AF_INET, address))
            AddProbe(&probes[used++], lan->index, AF_INET, address, sizeof address, s_table.devices[i].mac);
    }
    return used;
}

// ---- Traffic ----

void SampleBegin()
{
    for (size_t i = 0; i < s_table.count; i++)
        memcpy(s_table.tracks[i].sampled, s_table.tracks[i].bytes, sizeof s_table.tracks[i].sampled);
}

void SampleAdd(Direction direction, const uint8_t mac[6], uint64_t bytes)
{
    Track *track = FindTrack(mac);
    if (track) track->sampled[direction] = bytes;
}

bool SampleEnd(int64_t elapsedMs)
{
    uint64_t total[2] = {};
    bool anyTraffic = false;
    for (size_t i = 0; i < s_table.count; i++) {
        Device device = s_table.devices[i];
        Track &track = s_table.tracks[i];
        for (int d = SENT; d <= RECEIVED; d++) {
            const uint64_t before = track.bytes[d], after = track.sampled[d];
            // Counters start again when the rules do.
            const uint64_t moved = after >= before ? after - before : after;
            track.bytes[d] = after;
            device.rate[d] = elapsedMs > 0 ? moved * 1000 / uint64_t(elapsedMs) : 0;
            total[d] += device.rate[d];
            if (moved > 0) anyTraffic = true;
        }
        Show(i, device);
    }
    Lock lock(&s_lock);
    memcpy(s_table.totalRate, total, sizeof total);
    return anyTraffic;
}

uint64_t TotalRate(Direction direction)
{
    return s_table.totalRate[direction];
}
