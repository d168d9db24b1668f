// The functions about WANs, LAN and its ports, and the resolvers.
#include "sdk/RouterSdk.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <net/if_arp.h>
#include <netinet/in.h>

#include "sdk/linux/base/Files.h"
#include "sdk/linux/base/Result.h"
#include "sdk/linux/base/Say.h"
#include "sdk/linux/cache/Cache.h"
#include "sdk/linux/host/Connections.h"
#include "sdk/linux/links/LinkBytes.h"
#include "sdk/linux/links/Links.h"
#include "sdk/linux/settings/Settings.h"
#include "sdk/linux/wifi/Radios.h"

static const Config *Ready()
{
    StartRouter();
    return TheConfig();
}

typedef char Names[ROUTER_SDK_WANS][kMaxInterfaceName];
typedef char Ports[ROUTER_SDK_LAN_PORTS][kMaxInterfaceName];

// ---- WANs ----

// The names of all WANs. Returns RESULT_OK or RESULT_BAD_KEY.
static int ReadWans(const Config *config, Names names, uint16_t *count)
{
    if (KeyIsRight(config, KEY_WANS) != RESULT_OK) return RESULT_BAD_KEY;
    memset(names, 0, sizeof(Names));
    Lock lock(CacheLock());
    *count = WanNames(config, names);
    return RESULT_OK;
}

// The name of one WAN. Returns RESULT_OK, RESULT_BAD_KEY or RESULT_UNKNOWN.
static int ReadWan(const Config *config, uint16_t index, char name[kMaxInterfaceName])
{
    Names names;
    uint16_t count;
    const int result = ReadWans(config, names, &count);
    if (result != RESULT_OK) return result;
    if (index >= count) return RESULT_UNKNOWN;
    CopyText(name, kMaxInterfaceName, names[index]);
    return RESULT_OK;
}

// The first two resolvers of a file in the form of resolv.conf. RESULT_OK or RESULT_NO_FIGURE.
static int ReadResolvers(const char *path, uint32_t resolvers[2])
{
    char text[4096];
    resolvers[0] = resolvers[1] = 0;
    if (ReadFile(path, text, sizeof text) < 0) return RESULT_NO_FIGURE;
    int count = 0;
    char *rest = text;
    for (char *line; count < 2 && (line = strsep(&rest, "\n"));) {
        char address[64];
        if (sscanf(line, " nameserver %63s", address) != 1) continue;
        if (inet_pton(AF_INET, address, &resolvers[count]) == 1) count++;
    }
    return RESULT_OK;
}

// Whether a WAN carries traffic: switched on, with carrier, an address and a way out. Under the lock.
static bool IsConnected(const Link *link)
{
    uint32_t ip, netmask, gateway;
    return link && link->up && FirstAddress(link->index, &ip, &netmask, nullptr) &&
           DefaultGateway(link->index, &gateway);
}

static void FillWan(const Config *config, uint16_t index, const char *name, const uint32_t resolvers[2], WanCfg *wan)
{
    *wan = {};
    wan->index = index;
    CopyText(wan->name, sizeof wan->name, name);
    wan->services = uint16_t(config->wanServices);
    wan->dns1 = resolvers[0];
    wan->dns2 = resolvers[1];
    const Link *link = LinkByName(name);
    bool permanent = false;
    if (link) {
        uint32_t ip = 0, netmask = 0, gateway = 0;
        FirstAddress(link->index, &ip, &netmask, &permanent);
        DefaultGateway(link->index, &gateway);
        wan->ip = ip;
        wan->netmask = netmask;
        wan->gateway = gateway;
        wan->vlan = link->vlan;
        wan->mtu = uint16_t(link->mtu > UINT16_MAX ? UINT16_MAX : link->mtu);
        memcpy(wan->mac, link->mac, sizeof wan->mac);
        wan->connected = IsConnected(link);
    }
    // A lease makes an address that is not permanent.
    wan->mode = config->wanMode >= 0               ? uint8_t(config->wanMode)
                : link && link->type == ARPHRD_PPP ? uint8_t(ROUTER_WAN_PPPOE)
                : wan->ip && permanent             ? uint8_t(ROUTER_WAN_STATIC)
                                                   : uint8_t(ROUTER_WAN_DHCP);
    if (wan->mode != ROUTER_WAN_PPPOE) return;
    CopyText(wan->user, sizeof wan->user, config->wanUser);
    CopyText(wan->password, sizeof wan->password, config->wanPassword);
}

int get_wan_num(uint16_t *count)
{
    Names names;
    return ReadWans(Ready(), names, count);
}

int get_wans_cfg(WanCfg *w, uint16_t *count)
{
    const Config *config = Ready();
    Names names;
    uint16_t all;
    const int result = ReadWans(config, names, &all);
    if (result != RESULT_OK) return result;
    if (KeyIsRight(config, KEY_WAN_MODE) != RESULT_OK) return RESULT_BAD_KEY;
    uint32_t resolvers[2];
    ReadResolvers(config->resolvers, resolvers);
    Lock lock(CacheLock());
    for (uint16_t i = 0; i < all; i++) FillWan(config, i, names[i], resolvers, &w[i]);
    *count = all;
    return RESULT_OK;
}

int get_wan_cfg(uint16_t index, WanCfg *w)
{
    const Config *config = Ready();
    char name[kMaxInterfaceName];
    const int result = ReadWan(config, index, name);
    if (result != RESULT_OK) return result;
    if (KeyIsRight(config, KEY_WAN_MODE) != RESULT_OK) return RESULT_BAD_KEY;
    uint32_t resolvers[2];
    ReadResolvers(config->resolvers, resolvers);
    Lock lock(CacheLock());
    FillWan(config, index, name, resolvers, w);
    return RESULT_OK;
}

int get_wan_con_status(uint8_t *status)
{
    Names names;
    uint16_t count;
    const int result = ReadWans(Ready(), names, &count);
    if (result != RESULT_OK) return result;
    Lock lock(CacheLock());
    for (uint16_t i = 0; i < count; i++) status[i] = IsConnected(LinkByName(names[i]));
    return RESULT_OK;
}

namespace
{
struct Wan { // what says of a connection that it goes through this WAN
    int wan;
    int lan;
    bool isFirst;
};
} // namespace

// With NAT one end is the WAN's own address. Without, a connection of the LAN with the outside counts for the first WAN.
static bool GoesThrough(void *user, const Connection &connection)
{
    const Wan *wan = static_cast<const Wan *>(user);
    Lock lock(CacheLock());
    for (const uint8_t(&end)[16] : connection.ends)
        if (IsOwnAddress(wan->wan, connection.family, end)) return true;
    if (!wan->isFirst || !wan->lan) return false;
    const bool from = IsInNetwork(wan->lan, connection.family, connection.ends[0]);
    const bool to = IsInNetwork(wan->lan, connection.family, connection.ends[1]);
    return from != to && !IsOwnAddress(wan->lan, connection.family, connection.ends[from ? 0 : 1]);
}

static int CountOn(uint16_t index, uint8_t protocol, uint32_t *n)
{
    const Config *config = Ready();
    char name[kMaxInterfaceName];
    const int result = ReadWan(config, index, name);
    if (result != RESULT_OK) return result;
    Wan wan = {0, 0, index == 0};
    {
        Lock lock(CacheLock());
        const Link *link = LinkByName(name), *lan = LanLink(config);
        wan.wan = link ? link->index : 0;
        wan.lan = lan ? lan->index : 0;
    }
    return CountConnections(protocol, GoesThrough, &wan, n);
}

int get_wan_tcp_con_num(uint16_t index, uint32_t *n)
{
    return CountOn(index, IPPROTO_TCP, n);
}

int get_wan_udp_con_num(uint16_t index, uint32_t *n)
{
    return CountOn(index, IPPROTO_UDP, n);
}

int get_wan_receive_bytes(uint16_t index, uint64_t *n)
{
    char name[kMaxInterfaceName];
    uint64_t received, sent;
    int result = ReadWan(Ready(), index, name);
    if (result == RESULT_OK) result = ReadLinkBytes(name, &received, &sent);
    if (result == RESULT_OK) *n = received;
    return result;
}

// ---- Resolvers ----

int get_dns(uint32_t *primary, uint32_t *secondary)
{
    const Config *config = Ready();
    const bool own = NeedKey(config, KEY_DNS_FILE) == RESULT_OK;
    if (KeyIsRight(config, own ? KEY_DNS_FILE : KEY_RESOLVERS) != RESULT_OK) return RESULT_BAD_KEY;
    uint32_t resolvers[2];
    // The file that set_dns() writes has precedence, once it is there.
    if (!own || ReadResolvers(config->dnsFile, resolvers) != RESULT_OK) {
        const int result = ReadResolvers(config->resolvers, resolvers);
        if (result != RESULT_OK) return result;
    }
    *primary = resolvers[0];
    *secondary = resolvers[1];
    return RESULT_OK;
}

int set_dns(uint32_t primary, uint32_t secondary)
{
    const Config *config = Ready();
    const int result = NeedKey(config, KEY_DNS_FILE);
    if (result != RESULT_OK) return result;
    char text[80] = {};
    size_t length = 0;
    for (const uint32_t resolver : {primary, secondary}) {
        char address[INET_ADDRSTRLEN];
        if (!resolver) continue;
        inet_ntop(AF_INET, &resolver, address, sizeof address);
        length += size_t(snprintf(text + length, sizeof text - length, "nameserver %s\n", address));
    }
    Lock changes(ChangesLock());
    if (WriteFileWhole(config->dnsFile, text, length, 0644)) return RESULT_OK;
    Say("%s: not written: %s", config->dnsFile, strerror(errno));
    return RESULT_NOT_SAVED;
}

// ---- LAN ----

int get_lan_cfg(LanCfg *l)
{
    const Config *config = Ready();
    if (KeyIsRight(config, KEY_LAN) != RESULT_OK) return RESULT_BAD_KEY;
    Lock lock(CacheLock());
    const Link *lan = LanLink(config);
    uint32_t ip = 0, netmask = 0;
    if (!lan) return RESULT_NO_FIGURE;
    FirstAddress(lan->index, &ip, &netmask, nullptr);
    memcpy(l->mac, lan->mac, sizeof l->mac);
    l->ip = ip;
    l->netmask = netmask;
    return RESULT_OK;
}

// The names of the ports. RESULT_OK or RESULT_BAD_KEY.
static int ReadPorts(const Config *config, Ports names, uint16_t *count)
{
    if (KeyIsRight(config, KEY_PORTS) != RESULT_OK || KeyIsRight(config, KEY_LAN) != RESULT_OK) return RESULT_BAD_KEY;
    memset(names, 0, sizeof(Ports));
    Lock lock(CacheLock());
    *count = PortNames(config, names, IsWireless);
    return RESULT_OK;
}

int get_lan_num(uint16_t *count)
{
    Ports names;
    return ReadPorts(Ready(), names, count);
}

int get_lan_con_status(uint8_t *status)
{
    Ports names;
    uint16_t count;
    const int result = ReadPorts(Ready(), names, &count);
    if (result != RESULT_OK) return result;
    Lock lock(CacheLock());
    for (uint16_t i = 0; i < count; i++) {
        const Link *link = LinkByName(names[i]);
        status[i] = link && link->up;
    }
    return RESULT_OK;
}

static int PortBytes(uint16_t port, uint64_t *received, uint64_t *sent)
{
    Ports names;
    uint16_t count;
    const int result = ReadPorts(Ready(), names, &count);
    if (result != RESULT_OK) return result;
    return port < count ? ReadLinkBytes(names[port], received, sent) : int(RESULT_UNKNOWN);
}

int get_lan_port_up_flow(uint16_t port, uint64_t *bytes)
{
    uint64_t received, sent;
    const int result = PortBytes(port, &received, &sent);
    if (result == RESULT_OK) *bytes = received;
    return result;
}

int get_lan_port_down_flow(uint16_t port, uint64_t *bytes)
{
    uint64_t received, sent;
    const int result = PortBytes(port, &received, &sent);
    if (result == RESULT_OK) *bytes = sent;
    return result;
}
