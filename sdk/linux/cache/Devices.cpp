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

// All that this module remembers.
static struct {
    Device devices[kMaxDevices];
    size_t count;           // places that were ever used
    uint16_t places[kHash]; // place + 1 of the device whose MAC leads here, or to one before; 0 for none
    uint64_t totalRate[2];
    bool anyTraffic; // in the sample under way
    uint64_t sampled[kMaxDevices][2];
    int64_t shown[kMaxDevices]; // behind the confirmation of the IPv4 address that is shown; 0: none is confirmed
} s_table;

void DevicesClear()
{
    memset(&s_table, 0, sizeof s_table);
}

Device *Devices(size_t *count)
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

Device *FindDevice(const uint8_t mac[6])
{
    for (size_t i = HashOf(mac);; i = (i + 1) % kHash) {
        if (!s_table.places[i]) return nullptr;
        Device &device = s_table.devices[s_table.places[i] - 1];
        if (SameMac(device.mac, mac)) return &device;
    }
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
        const Device &device = s_table.devices[i];
        if (!device.present && (oldest == kMaxDevices || device.knownMs < s_table.devices[oldest].knownMs)) oldest = i;
    }
    if (oldest == kMaxDevices) return oldest;
    memset(&s_table.devices[oldest], 0, sizeof(Device));
    memset(s_table.places, 0, sizeof s_table.places);
    for (size_t i = 0; i < s_table.count; i++)
        if (i != oldest) EnterHash(s_table.devices[i].mac, i);
    return oldest;
}

static Device *MakeDevice(const uint8_t mac[6], int64_t now)
{
    Device *device = FindDevice(mac);
    if (device) return device;
    const size_t place = s_table.count < kMaxDevices ? s_table.count++ : ReplaceOldest();
    if (place == kMaxDevices) return nullptr;
    device = &s_table.devices[place];
    memset(device, 0, sizeof *device);
    memset(s_table.sampled[place], 0, sizeof s_table.sampled[place]);
    memcpy(device->mac, mac, kMacSize);
    device->knownMs = now;
    EnterHash(mac, place);
    return device;
}

// ---- The table ----

static void FromBridge(const Link *lan, int64_t now)
{
    size_t count;
    const BridgeEntry *entries = BridgeEntries(&count);
    for (size_t i = 0; i < count; i++) {
        const Link *port = entries[i].port ? LinkByIndex(entries[i].port) : nullptr;
        if (!port || port->master != lan->index) continue;
        Device *device = MakeDevice(entries[i].mac, now);
        if (!device) continue;
        device->portIndex = entries[i].port;
        device->arrivedMs = entries[i].sinceMs;
        device->inBridge = true;
        device->knownMs = now;
    }
}

static void FromNeighbours(const Link *lan, int64_t now)
{
    memset(s_table.shown, 0, sizeof s_table.shown);
    size_t count;
    const Neighbour *neighbours = Neighbours(&count);
    for (size_t i = 0; i < count; i++) {
        const Neighbour &neighbour = neighbours[i];
        if (!neighbour.family) continue;
        // Behind a bridge a device is first of all a MAC at a port; without one, its addresses are all there is.
        Device *device = lan->isBridge ? FindDevice(neighbour.mac) : MakeDevice(neighbour.mac, now);
        if (!device) continue;
        if (!lan->isBridge) device->portIndex = lan->index;
        if (neighbour.confirmedMs > device->confirmedMs) device->confirmedMs = neighbour.confirmedMs;
        int64_t &best = s_table.shown[device - s_table.devices];
        if (neighbour.family != AF_INET || neighbour.confirmedMs < best) continue;
        best = neighbour.confirmedMs + 1;
        memcpy(&device->ip, neighbour.address, sizeof device->ip);
    }
}

static void FromLeases(int64_t now, int64_t wallSeconds)
{
    size_t count;
    const Lease *leases = Leases(&count);
    for (size_t i = 0; i < count; i++) {
        const Lease &lease = leases[i];
        if (lease.expires != 0 && lease.expires <= wallSeconds) continue;
        Device *device = MakeDevice(lease.mac, now);
        if (!device) continue;
        device->hasLease = true;
        CopyText(device->name, sizeof device->name, lease.name);
        if (!s_table.shown[device - s_table.devices]) device->ip = lease.ip;
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
static bool PlaceAtPort(Device *device, const Numbers &numbers)
{
    const Station *station = StationOf(device->mac);
    if (station) device->portIndex = station->radio;
    const Link *port = device->portIndex ? LinkByIndex(device->portIndex) : nullptr;
    const Radio *radio = device->portIndex ? RadioByIndex(device->portIndex) : nullptr;
    device->wireless = radio != nullptr;
    device->link = !radio                    ? uint8_t(ROUTER_LINK_WIRED)
                   : radio->frequency < 4000 ? uint8_t(ROUTER_LINK_WIFI_2G)
                                             : uint8_t(ROUTER_LINK_WIFI_5G);
    device->port = 0;
    if (radio) device->port = SsidIndexOf(radio->name);
    for (uint16_t i = 0; !radio && i < numbers.portCount; i++)
        if (numbers.ports[i] && numbers.ports[i] == device->portIndex) device->port = i;
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

void DevicesRefresh(const Config *config, int64_t now, int64_t wallSeconds)
{
    const Link *lan = LanLink(config);
    if (!lan) {
        for (Device &device : s_table.devices) device.present = false;
        return;
    }
    for (size_t i = 0; i < s_table.count; i++) s_table.devices[i].inBridge = s_table.devices[i].hasLease = false;
    FromBridge(lan, now);
    FromNeighbours(lan, now);
    FromLeases(now, wallSeconds);
    const Numbers numbers = NumberPorts(config);
    for (size_t i = 0; i < s_table.count; i++) {
        Device &device = s_table.devices[i];
        const bool carried = lan->up && PlaceAtPort(&device, numbers);
        const bool known = !lan->isBridge || device.inBridge || device.hasLease || StationOf(device.mac);
        device.present = carried && known && device.confirmedMs != 0 && now - device.confirmedMs <= kPresentMs;
        if (device.present) device.knownMs = now;
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

static bool IsDue(const Device &device, const Link *lan, int64_t now)
{
    const Link *port = device.portIndex ? LinkByIndex(device.portIndex) : nullptr;
    if (!port || !port->up || now - device.confirmedMs < kProbeMs) return false;
    const bool mayBeThere = device.inBridge || !lan->isBridge || StationOf(device.mac) ||
                            (device.hasLease && now - device.confirmedMs < kGiveUpMs);
    const bool isNew = device.inBridge && now - device.arrivedMs < kSettleMs;
    return mayBeThere && now - device.probedMs >= (isNew ? kSettleRetryMs : kRetryMs);
}

void DevicesProbe(const Config *config, int64_t now, void (*send)(void *user, const nlmsghdr *probe), void *user)
{
    alignas(nlmsghdr) char buffer[kProbeMessage];
    const Link *lan = LanLink(config);
    if (!lan) return;
    bool due[kMaxDevices] = {};
    bool asked[kMaxDevices] = {};
    for (size_t i = 0; i < s_table.count; i++) due[i] = IsDue(s_table.devices[i], lan, now);
    size_t count;
    const Neighbour *neighbours = Neighbours(&count);
    for (size_t i = 0; i < count; i++) {
        const Neighbour &neighbour = neighbours[i];
        const Device *device = neighbour.family ? FindDevice(neighbour.mac) : nullptr;
        if (!device || !due[device - s_table.devices]) continue;
        asked[device - s_table.devices] = true;
        send(user, WriteProbe(buffer, lan->index, neighbour.family, neighbour.address, neighbour.mac));
    }
    for (size_t i = 0; i < s_table.count; i++) {
        Device &device = s_table.devices[i];
        if (!due[i]) continue;
        device.probedMs = now;
        // The kernel has forgotten it: asked at the address that it had last, unless another device has that now.
        uint8_t address[16] = {};
        memcpy(address, &device.ip, sizeof device.ip);
        if (!asked[i] && device.ip && !NeighbourOf(AF_INET, address))
            send(user, WriteProbe(buffer, lan->index, AF_INET, address, device.mac));
    }
}

// ---- Traffic ----

void SampleBegin()
{
    s_table.anyTraffic = false;
    for (size_t i = 0; i < s_table.count; i++)
        memcpy(s_table.sampled[i], s_table.devices[i].bytes, sizeof s_table.sampled[i]);
}

void SampleAdd(Direction direction, const uint8_t mac[6], uint64_t bytes)
{
    const Device *device = FindDevice(mac);
    if (device) s_table.sampled[device - s_table.devices][direction] = bytes;
}

bool SampleEnd(int64_t elapsedMs)
{
    uint64_t total[2] = {};
    for (size_t i = 0; i < s_table.count; i++) {
        Device &device = s_table.devices[i];
        for (int d = SENT; d <= RECEIVED; d++) {
            const uint64_t before = device.bytes[d], after = s_table.sampled[i][d];
            // Counters start again when the rules do.
            const uint64_t moved = after >= before ? after - before : after;
            device.bytes[d] = after;
            device.rate[d] = elapsedMs > 0 ? moved * 1000 / uint64_t(elapsedMs) : 0;
            total[d] += device.rate[d];
            if (moved > 0) s_table.anyTraffic = true;
        }
    }
    memcpy(s_table.totalRate, total, sizeof total);
    return s_table.anyTraffic;
}

uint64_t TotalRate(Direction direction)
{
    return s_table.totalRate[direction];
}
