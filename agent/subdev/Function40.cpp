#define LOG_MODULE "Function40"
#include "subdev/Function40.h"

#include <cstring>

#include "core/Common.h"
#include "core/Flags.h"
#include "core/LocalPeer.h"
#include "core/Wire.h"
#include "os/OsProcess.h"
#include "os/OsWait.h"
#include "platform/Protool.h"
#include "platform/Settings.h"
#include "subdev/OnlineReport.h"

static const int64_t kCycleMs = 10000;
static const size_t kMinMessage = 39; // bytes
static const size_t kMaxMessage = 5128;

namespace
{

struct Entry {
    uint8_t mac[kMacSize]; // all zeros: free
    uint8_t data[kOnlineDataSize];
    uint8_t unused;
    uint8_t pending; // 1: not reported yet
};
static_assert(sizeof(Entry) == 40, "an entry is not 40 bytes");

} // namespace

pthread_mutex_t fn40Lock = PTHREAD_MUTEX_INITIALIZER;
static Entry fn40Dev[kMaxFn40Devices]; // guarded by fn40Lock
static int s_cycles;                   // cycles since the table was emptied; guarded by fn40Lock

static OsAtomic<int> Fn40Run; // the thread waits on gFlags for a change of this
static bool Fn40Started;      // main thread only, as is the next
static bool s_tryAgain;       // the last start failed: devices that the local peer has reported since must stay
static pthread_t Fn40PID;

// ---- The table ----

static Entry *Find(const uint8_t *mac)
{
    for (Entry &entry : fn40Dev)
        if (memcmp(entry.mac, mac, kMacSize) == 0) return &entry;
    return nullptr;
}

static const uint8_t kNoMac[kMacSize] = {};
static const uint8_t kEveryMac[kMacSize] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};

int Fn40Recv(const uint8_t *record)
{
    if (memcmp(record, kNoMac, kMacSize) == 0 || memcmp(record, kEveryMac, kMacSize) == 0) return -1;
    OsGuard guard(&fn40Lock);
    if (Find(record)) return 0;
    Entry *entry = Find(kNoMac);
    if (!entry) return 0;
    memcpy(entry->mac, record, kMacSize);
    memcpy(entry->data, record + kMacSize, kOnlineDataSize);
    entry->pending = 1;
    return 0;
}

bool Fn40Knows(const uint8_t *mac)
{
    OsGuard guard(&fn40Lock);
    return Find(mac) != nullptr;
}

void Fn40Handle(const uint8_t *data, size_t length)
{
    WireReader message = WireRead(data, length);
    const unsigned count = WireGetLe16(&message);
    if (count < 1 || count > kMaxFn40Devices) {
        LOG_ERR("Subdev number error.");
        return;
    }
    if (length < kMinMessage || length > kMaxMessage) {
        LOG_ERR("Subdev length error.");
        return;
    }
    LOG_DEBUG("Have subdev data.");
    for (unsigned i = 0; i < count; i++) {
        if (message.left < kFn40RecordSize) return;
        if (message.data[kFn40RecordSize - 1] == 1)
            Fn40Recv(WireTake(&message, kFn40RecordSize));
        else
            LOG_DEBUG("Subdev offline."); // not passed over: it ends the message, and peers put it last
    }
}

// ---- The reports ----

static void Fn40OnlineReport(Entry *entry)
{
    entry->pending = 0;
    OnlineReportSend(LogModule(LOG_MODULE), __func__, entry->mac, entry->data);
}

void Fn40Cycle()
{
    OsGuard guard(&fn40Lock);
    for (Entry &entry : fn40Dev)
        if (entry.pending == 1) Fn40OnlineReport(&entry);
    if (s_cycles < Fn40Interval) {
        s_cycles++;
        return;
    }
    memset(fn40Dev, 0, sizeof fn40Dev);
    LOG_AS(LOG_LEVEL_DEBUG, "Fn40FilterProc", "Clean 40 subdev.");
    s_cycles = 1;
}

// Waits until a local peer has connected, then one cycle. Returns false when the thread has to stop.
static bool AwaitCycle()
{
    OsWaitFor(&gFlags, OS_FOREVER, [] { return Fn40Run != 1 || CommClientReg == 1; });
    return !OsWaitFor(&gFlags, kCycleMs, [] { return Fn40Run != 1; });
}

static void *Fn40FilterProc(void *)
{
    while (AwaitCycle()) Fn40Cycle();
    return nullptr;
}

int Fn40Init()
{
    if (!s_tryAgain) {
        OsGuard guard(&fn40Lock);
        memset(fn40Dev, 0, sizeof fn40Dev);
        s_cycles = 0;
    }
    Fn40Run = 1;
    Fn40Started = OsThreadStart(&Fn40PID, Fn40FilterProc, nullptr) == 0;
    s_tryAgain = !Fn40Started;
    if (Fn40Started) return 0;
    LOG_ERR("Create Fn40FilterProc failed.");
    return -1;
}

void Fn40Stop()
{
    SetSessionFlag(Fn40Run, 0);
    if (Fn40Started) OsThreadJoin(Fn40PID);
    Fn40Started = s_tryAgain = false;
}
