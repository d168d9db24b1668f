#include "sdk/linux/cache/Cache.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <linux/netfilter/nfnetlink.h>
#include <linux/pkt_sched.h>
#include <linux/rtnetlink.h>
#include <poll.h>
#include <semaphore.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include "sdk/linux/access/Forwarding.h"
#include "sdk/linux/access/RuleEvents.h"
#include "sdk/linux/access/Rules.h"
#include "sdk/linux/base/Clock.h"
#include "sdk/linux/base/Say.h"
#include "sdk/linux/cache/BlackList.h"
#include "sdk/linux/cache/Devices.h"
#include "sdk/linux/leases/Leases.h"
#include "sdk/linux/links/LinkSpeed.h"
#include "sdk/linux/links/Links.h"
#include "sdk/linux/links/Netlink.h"
#include "sdk/linux/neighbours/Neighbours.h"
#include "sdk/linux/settings/Settings.h"
#include "sdk/linux/traffic/Counters.h"
#include "sdk/linux/wifi/Networks.h"
#include "sdk/linux/wifi/Radios.h"

static const int64_t kQuietMs = 10000; // between looks at what tells nothing by itself, when nothing happens
static const int64_t kBusyMs = 2000;   // when there is traffic, or somebody asks for it
static const int64_t kSoonMs = 1000;   // when a device has just come
static const int64_t kWantedMs = 30000;
static const int64_t kLeastSampleMs = 900; // rates over a shorter time say nothing
static const int kAnswersMs = 50;          // probes are answered within this time, usually
static const int kTogetherMs = 200;        // and so are many
static const int64_t kRestoreMs = 1000;    // between two repairs of the rules
static const int64_t kFirstRetryMs = 2000; // of what could not be put in force
static const int64_t kLastRetryMs = 600000;
static const int kEndSeconds = 2;
static const size_t kMaxProbes = 1024;
static const size_t kStack = 256 * 1024;
static const int kMaxBatches = 64; // messages read before the tables are put together again

// All that this module remembers.
static pthread_mutex_t s_lock = PTHREAD_MUTEX_INITIALIZER;  // of the tables of news
static pthread_mutex_t s_start = PTHREAD_MUTEX_INITIALIZER; // guards `started`
static std::atomic<bool> s_started;
static std::atomic<int64_t> s_wantedMs{-kWantedMs};
static int s_wake = -1; // written to wake the thread; -1: there is no thread
static sem_t s_ready;   // posted once by the thread, when everything has been read and is in force
static std::atomic<bool> s_stop;
static pthread_t s_thread;

// The thread's own.
static struct {
    mnl_socket *route;  // rtnetlink: questions and probes
    mnl_socket *events; // rtnetlink: news
    mnl_socket *filter; // nftables: questions
    mnl_socket *ruleEvents;
    RuleWatch ruleWatch;
    int poll;
    int timer;
    int radios;        // tells of news of the wireless part; -1: there is none (yet)
    int64_t sampledMs; // 0: never
    int64_t restoredMs;
    bool traffic; // in the last sample
    bool lostNews;
    bool rulesLost;
    bool placesDue; // interfaces have changed
    bool qdiscLost;
    bool radiosDue;
    int quiet;            // interface of whose neighbours alone news tell, and only some; 0: all
    int64_t neighboursMs; // when they were last asked for
    Places places;        // where everything is in force
    bool inForce;
    int64_t retryAfterMs; // 0: nothing has failed
    int64_t retryMs;      // when what has failed is tried again
} s_cache;

pthread_mutex_t *CacheLock()
{
    return &s_lock;
}

void WantRates()
{
    const int64_t now = NowMs();
    const bool wasWanted = now - s_wantedMs.exchange(now) < kWantedMs;
    const uint64_t one = 1;
    if (!wasWanted && s_wake >= 0 && write(s_wake, &one, sizeof one) < 0) return; // it will look by itself
}

// Where settings have to be in force now.
static void ReadPlaces(Places *places)
{
    memset(places, 0, sizeof *places);
    const Config *config = TheConfig();
    {
        Lock lock(DevicesLock());
        places->blackCount = BlackList(places->black);
    }
    Lock lock(&s_lock);
    const Link *lan = LanLink(config);
    if (lan) {
        places->hasLan = true;
        places->lanIndex = lan->index;
        CopyText(places->lan, sizeof places->lan, lan->name);
    }
    char names[ROUTER_SDK_WANS][kMaxInterfaceName] = {};
    const uint16_t count = WanNames(config, names);
    for (uint16_t i = 0; i < count; i++) {
        const Link *wan = LinkByName(names[i]);
        if (!wan) continue;
        places->wanIndexes[places->wanCount] = wan->index;
        CopyText(places->wans[places->wanCount++], kMaxInterfaceName, names[i]);
    }
    places->masquerade = config->masquerade;
}

// ---- The kernel's news ----

static int OnRouteMessage(const nlmsghdr *message, void *)
{
    const Link *lan = LanLink(TheConfig());
    if (LinksOnMessage(message)) s_cache.placesDue = true;
    NeighboursOnMessage(message, lan ? lan->index : 0, NowMs());
    if (message->nlmsg_type == RTM_DELQDISC && mnl_nlmsg_get_payload_len(message) >= sizeof(tcmsg)) {
        const tcmsg *qdisc = static_cast<const tcmsg *>(mnl_nlmsg_get_payload(message));
        if (qdisc->tcm_handle == uint32_t(kQdiscMajor) << 16 && !WasOurs(message->nlmsg_pid)) s_cache.qdiscLost = true;
    }
    return MNL_CB_OK;
}

static int OnRuleMessage(const nlmsghdr *message, void *)
{
    if (RulesTouched(&s_cache.ruleWatch, message, WasOurs)) s_cache.rulesLost = true;
    return MNL_CB_OK;
}

// Reads what is waiting, and gives it to `callback` under `lock` (or none). News that were lost because too many came at
// once are made up for by asking again.
static void Drain(mnl_socket *socket, mnl_cb_t callback, pthread_mutex_t *lock, bool *lost)
{
    alignas(nlmsghdr) char buffer[kNetlinkBuffer];
    for (int i = 0; i < kMaxBatches; i++) {
        const ssize_t length = recv(mnl_socket_get_fd(socket), buffer, sizeof buffer, MSG_DONTWAIT);
        if (length < 0 && errno == ENOBUFS) {
            *lost = true;
            continue;
        }
        if (length <= 0) return;
        if (lock) pthread_mutex_lock(lock);
        mnl_cb_run(buffer, size_t(length), 0, 0, callback, nullptr);
        if (lock) pthread_mutex_unlock(lock);
    }
}

// Under the lock. `interface`: of neighbours only those of this one, unless it is 0.
static void Dump(int type, int family, int interface = 0)
{
    alignas(nlmsghdr) char buffer[128];
    nlmsghdr *request = mnl_nlmsg_put_header(buffer);
    request->nlmsg_type = uint16_t(type);
    request->nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    // The kernel looks at the family only, but wants a whole header.
    if (type == RTM_GETLINK)
        static_cast<ifinfomsg *>(mnl_nlmsg_put_extra_header(request, sizeof(ifinfomsg)))->ifi_family = uint8_t(family);
    if (type == RTM_GETADDR)
        static_cast<ifaddrmsg *>(mnl_nlmsg_put_extra_header(request, sizeof(ifaddrmsg)))->ifa_family = uint8_t(family);
    if (type == RTM_GETROUTE)
        static_cast<rtmsg *>(mnl_nlmsg_put_extra_header(request, sizeof(rtmsg)))->rtm_family = uint8_t(family);
    if (type == RTM_GETNEIGH)
        static_cast<ndmsg *>(mnl_nlmsg_put_extra_header(request, sizeof(ndmsg)))->ndm_family = uint8_t(family);
    if (interface) mnl_attr_put_u32(request, NDA_IFINDEX, uint32_t(interface));
    if (NetlinkAsk(s_cache.route, request, OnRouteMessage, nullptr) != 0) Say("asking the kernel: %s", strerror(errno));
}

// Reads everything anew. Devices that are known keep what they have.
static void DumpAll()
{
    Lock lock(&s_lock);
    LinksClear();
    NeighboursClear();
    s_cache.lostNews = false;
    s_cache.placesDue = true;
    Dump(RTM_GETLINK, AF_UNSPEC);
    Dump(RTM_GETADDR, AF_UNSPEC);
    Dump(RTM_GETROUTE, AF_INET);
    Dump(RTM_GETNEIGH, AF_UNSPEC); // behind the links: only those of the LAN are kept
    Dump(RTM_GETNEIGH, AF_BRIDGE);
}

// ---- What tells nothing by itself ----

// On a bridge a device first tells of itself by its port, so that of its addresses most news can be left out: who is at
// rest then costs nothing. Without a bridge its addresses are all there is.
static void ChooseNews()
{
    int bridge;
    {
        Lock lock(&s_lock);
        const Link *lan = LanLink(TheConfig());
        bridge = lan && lan->isBridge ? lan->index : 0;
    }
    if (bridge != s_cache.quiet && HearLittle(s_cache.events, bridge)) s_cache.quiet = bridge;
}

static void ReadNeighbours(int64_t now)
{
    s_cache.neighboursMs = now;
    Lock lock(&s_lock);
    const Link *lan = LanLink(TheConfig());
    if (lan) Dump(RTM_GETNEIGH, AF_UNSPEC, lan->index);
}

static void ReadSpeeds()
{
    char names[ROUTER_SDK_LAN_PORTS][kMaxInterfaceName] = {};
    uint16_t count;
    {
        Lock lock(&s_lock);
        count = PortNames(TheConfig(), names, IsWireless);
    }
    for (uint16_t i = 0; i < count; i++) {
        const uint16_t speed = ReadLinkSpeed(names[i]);
        Lock lock(&s_lock);
        const Link *link = LinkByName(names[i]);
        if (link) SetLinkSpeed(link->index, speed);
    }
}

static void ReadFiles()
{
    const Config *config = TheConfig();
    if (KeyIsRight(config, KEY_LEASES) == 0) LoadLeases(config->leases);
    if (LoadBlackList(config->blackList, DevicesLock())) s_cache.placesDue = true;
}

static void SampleTraffic(int64_t now)
{
    SampleBegin();
    for (Direction direction : {SENT, RECEIVED}) {
        const auto seen = [](void *user, const uint8_t mac[6], uint64_t bytes) {
            SampleAdd(*static_cast<const Direction *>(user), mac, bytes);
        };
        ReadCounters(s_cache.filter, direction, seen, &direction);
    }
    s_cache.traffic = SampleEnd(s_cache.sampledMs ? now - s_cache.sampledMs : 0);
    s_cache.sampledMs = now;
}

static Probe s_probes[kMaxProbes]; // of one look, which are sent without the lock

// Puts the device table together, and asks those devices that are due. Returns whether any was.
static bool RefreshAndAsk(int64_t now)
{
    size_t count;
    {
        Lock lock(&s_lock);
        DevicesRefresh(TheConfig(), now, WallSeconds());
        count = DevicesProbe(TheConfig(), now, s_probes, kMaxProbes);
    }
    for (size_t i = 0; i < count; i++) {
        alignas(nlmsghdr) char buffer[kProbeMessage];
        const Probe &probe = s_probes[i];
        const nlmsghdr *message = WriteProbe(buffer, probe.lan, probe.family, probe.address, probe.mac);
        // Of an answer there is only a refusal, and nothing follows from that.
        if (mnl_socket_sendto(s_cache.events, message, message->nlmsg_len) < 0) break;
    }
    return count > 0;
}

static void Watch(int descriptor)
{
    epoll_event event = {};
    event.events = EPOLLIN;
    event.data.fd = descriptor;
    epoll_ctl(s_cache.poll, EPOLL_CTL_ADD, descriptor, &event);
}

// The wireless part may come later, with the driver of a radio.
static void ReadRadios()
{
    if (s_cache.radios < 0) {
        s_cache.radios = RadiosOpen();
        if (s_cache.radios < 0) return;
        Watch(s_cache.radios);
    }
    s_cache.radiosDue = false;
    RadiosRead();
    Lock lock(&s_lock);
    RadiosTake();
}

// ---- The thread ----

// Puts settings in force as PutInForce() does. What fails is tried again, soon and then less and less often: a program
// may have been killed because the machine was too busy.
static void Enforce(const Places *before, bool rulesLost, int64_t now)
{
    s_cache.inForce = PutInForce(&s_cache.places, before, rulesLost);
    const int64_t after = s_cache.retryAfterMs ? std::min(2 * s_cache.retryAfterMs, kLastRetryMs) : kFirstRetryMs;
    s_cache.retryAfterMs = s_cache.inForce ? 0 : after;
    s_cache.retryMs = now + s_cache.retryAfterMs;
}

static void KeepInForce(int64_t now)
{
    if (s_cache.retryAfterMs && now >= s_cache.retryMs) s_cache.placesDue = true;
    if (s_cache.placesDue) {
        s_cache.placesDue = false;
        ChooseNews();
        Places places;
        ReadPlaces(&places);
        ReadRadios();
        ReadSpeeds();
        if (!s_cache.inForce || memcmp(&places, &s_cache.places, sizeof places) != 0) {
            const Places before = s_cache.places;
            s_cache.places = places;
            Enforce(s_cache.inForce ? &before : nullptr, false, now);
        }
    }
    if ((s_cache.rulesLost || s_cache.qdiscLost) && now - s_cache.restoredMs >= kRestoreMs) {
        Say("somebody else has changed the %s; they are put back", s_cache.rulesLost ? "rules" : "limits");
        Enforce(s_cache.qdiscLost ? nullptr : &s_cache.places, true, now);
        s_cache.rulesLost = s_cache.qdiscLost = false;
        s_cache.restoredMs = now;
    }
}

static void SetTimer(int64_t milliseconds)
{
    const itimerspec when = {{0, 0}, {time_t(milliseconds / 1000), long(milliseconds % 1000) * 1000000 + 1}};
    timerfd_settime(s_cache.timer, 0, &when, nullptr);
}

// One look at everything. Sets `probed` if devices were asked. Returns the milliseconds until the next look, if nothing
// happens before.
static int64_t Look(bool timeIsUp, bool *probed)
{
    const int64_t now = NowMs();
    if (s_cache.lostNews) DumpAll();
    const bool wanted = now - s_wantedMs < kWantedMs;
    bool unsettled;
    {
        Lock lock(&s_lock);
        unsettled = DevicesUnsettled(now);
    }
    if (timeIsUp || unsettled) ReadFiles();
    if (s_cache.quiet && (timeIsUp || unsettled) && now - s_cache.neighboursMs >= kLeastSampleMs) ReadNeighbours(now);
    if (s_cache.radiosDue || (timeIsUp && s_cache.radios >= 0)) ReadRadios();
    if (now - s_cache.sampledMs >= (timeIsUp ? kLeastSampleMs : wanted ? kBusyMs : kQuietMs)) SampleTraffic(now);
    KeepInForce(now);
    if (timeIsUp) NetworksKeep(TheConfig(), s_cache.places.black, s_cache.places.blackCount);
    *probed = RefreshAndAsk(now);
    Lock lock(&s_lock);
    if (DevicesUnsettled(now) || s_cache.rulesLost || s_cache.qdiscLost) return kSoonMs;
    if (s_cache.retryAfterMs && s_cache.retryMs < now + kQuietMs) return std::max(s_cache.retryMs - now, kSoonMs);
    return wanted || s_cache.traffic ? kBusyMs : kQuietMs;
}

// Waits for news or the time. Returns whether the time is up.
static bool AwaitNews(int64_t untilMs)
{
    SetTimer(std::max<int64_t>(untilMs - NowMs(), 0));
    epoll_event events[4];
    const int count = epoll_wait(s_cache.poll, events, 4, -1);
    for (int i = 0; i < count; i++) {
        const int descriptor = events[i].data.fd;
        uint64_t waste;
        if (descriptor == s_cache.radios) s_cache.radiosDue = true;
        if ((descriptor == s_wake || descriptor == s_cache.timer) && read(descriptor, &waste, sizeof waste) < 0)
            continue;
    }
    return NowMs() >= untilMs; // with news all the time the timer may never have its turn
}

static void Begin();

static void *Run(void *)
{
    Begin();
    sem_post(&s_ready);
    int64_t nextMs = 0;
    bool probed = false;
    while (!s_stop) {
        bool timeIsUp = false;
        if (probed) { // the answers come within moments of each other: one look for all of them
            pollfd wake = {s_wake, POLLIN, 0};
            poll(&wake, 1, kTogetherMs);
        } else {
            timeIsUp = AwaitNews(nextMs);
        }
        probed = false;
        Drain(s_cache.events, OnRouteMessage, &s_lock, &s_cache.lostNews);
        // Whether a change was ours may have to wait for the start of a process: without the lock.
        if (s_cache.ruleEvents) Drain(s_cache.ruleEvents, OnRuleMessage, nullptr, &s_cache.rulesLost);
        const int64_t soon = Look(timeIsUp, &probed) + NowMs();
        nextMs = timeIsUp ? soon : std::min(nextMs, soon);
    }
    return nullptr;
}

// ---- Start and end ----

static bool OpenSockets()
{
    static const int groups[] = {RTNLGRP_LINK,        RTNLGRP_NEIGH,      RTNLGRP_IPV4_IFADDR,
                                 RTNLGRP_IPV6_IFADDR, RTNLGRP_IPV4_ROUTE, RTNLGRP_TC};
    static const int ruleGroups[] = {NFNLGRP_NFTABLES};
    s_cache.events = NetlinkOpen(NETLINK_ROUTE, groups, sizeof groups / sizeof *groups);
    s_cache.route = NetlinkOpen(NETLINK_ROUTE, nullptr, 0);
    s_cache.filter = NetlinkOpen(NETLINK_NETFILTER, nullptr, 0);
    s_cache.ruleEvents = NetlinkOpen(NETLINK_NETFILTER, ruleGroups, 1);
    s_cache.poll = epoll_create1(EPOLL_CLOEXEC);
    s_cache.radios = -1;
    s_cache.timer = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK);
    s_wake = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (!s_cache.events || !s_cache.route || !s_cache.filter || s_cache.poll < 0 || s_cache.timer < 0 || s_wake < 0) {
        Say("no connection to the kernel, so no devices: %s", strerror(errno));
        return false;
    }
    if (!s_cache.ruleEvents) Say("rules that somebody else removes are not put back: %s", strerror(errno));
    Watch(mnl_socket_get_fd(s_cache.events));
    if (s_cache.ruleEvents) Watch(mnl_socket_get_fd(s_cache.ruleEvents));
    Watch(s_cache.timer);
    Watch(s_wake);
    return true;
}

// The agent's signals are for the agent's threads.
static void StartThread()
{
    pthread_attr_t attributes;
    sigset_t all, before;
    sem_init(&s_ready, 0, 0);
    sigfillset(&all);
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, kStack);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    const bool runs = pthread_create(&s_thread, &attributes, Run, nullptr) == 0;
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    pthread_attr_destroy(&attributes);
    if (runs) {
        while (sem_wait(&s_ready) != 0) { // a signal
        }
        return;
    }
    Say("no thread: the device table does not change");
    close(s_wake);
    s_wake = -1;
    Begin();
}

// Asks all devices that the kernel remembers, so that the first table shows those that are there.
static void AskDevices()
{
    if (!RefreshAndAsk(NowMs())) return;
    poll(nullptr, 0, kAnswersMs);
    Drain(s_cache.events, OnRouteMessage, &s_lock, &s_cache.lostNews);
    RefreshAndAsk(NowMs());
}

// Reads everything for the first time and puts it in force. By the thread: its stack is the one that has the room.
static void Begin()
{
    DumpAll();
    ReadFiles();
    Places places;
    ReadPlaces(&places);
    if (TheConfig()->forwarding) EnforceForwarding(&places, TheConfig()->state);
    KeepInForce(NowMs());
    AskDevices();
}

void StartRouter()
{
    if (s_started.load(std::memory_order_acquire)) return;
    Lock start(&s_start);
    if (s_started) return;
    LoadSettings();
    if (OpenSockets()) StartThread();
    s_started.store(true, std::memory_order_release);
}

// The thread ends with the process; what is in force stays.
__attribute__((destructor)) static void StopRouter()
{
    if (!s_started || s_wake < 0) return;
    s_stop = true;
    const uint64_t one = 1;
    if (write(s_wake, &one, sizeof one) < 0) return;
    // A hostapd that hangs may hold the thread up. It ends with the process then.
    timespec end;
    clock_gettime(CLOCK_REALTIME, &end);
    end.tv_sec += kEndSeconds;
    pthread_timedjoin_np(s_thread, nullptr, &end);
}
