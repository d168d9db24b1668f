#define LOG_MODULE "Function39"
#include "subdev/Function39.h"

#include <algorithm>
#include <cstring>
#include <pthread.h>

#include "core/Common.h"
#include "core/Flags.h"
#include "core/LocalPeer.h"
#include "os/OsClock.h"
#include "os/OsDivide.h"
#include "os/OsMemory.h"
#include "os/OsProcess.h"
#include "os/OsWait.h"
#include "platform/Protool.h"
#include "platform/Settings.h"
#include "sdk/RouterSdk.h"
#include "subdev/DeviceTable.h"
#include "subdev/KnownDevices.h"
#include "subdev/OnlineReport.h"

static const int64_t kCycleMs = 10000;
static const int64_t kFailureMs = 60000;
static const int32_t kCyclesPerQuery = 6;

static OsAtomic<int> Fn39Run; // the thread waits on gFlags for a change of this
static bool Fn39Started;      // main thread only, as is the next
static pthread_t Fn39PID;

// Used by the report thread only.
static DevCfg *pF39Dev;  // ROUTER_SDK_DEVICES records
static uint16_t s_count; // devices of the last list, at most kMaxKnown

// ---- Waiting ----

// Waits until the time is over or the thread has to stop; unless `whateverPeer`, also until a local peer connects.
static void Pause(int64_t milliseconds, bool whateverPeer)
{
    OsWaitFor(&gFlags, milliseconds, [=] { return Fn39Run != 1 || (!whateverPeer && CommClientReg == 1); });
}

static bool Reporting()
{
    return AutoReportDevinfo != 0 && mLogin == 1;
}

// How many cycles from the one numbered `cycle` on, this one included, end with a query or a renewal at the earliest.
static int32_t CyclesToDuty(int32_t cycle, int32_t interval)
{
    int32_t cycles = 1;
    for (; cycle % kCyclesPerQuery != 0 && cycle < interval; cycle++) cycles++;
    return cycles;
}

// Waits until the end of the cycle in which something happens: a duty, or a change of what the thread waits for. All of
// them begin as the first one does, now, `reporting` or not. Returns how many cycles have passed before that one.
static int32_t SleepThroughCycles(int32_t cycle, bool reporting)
{
    const int64_t begin = OsNowMs();
    const int32_t interval = Fn40Interval;
    const int32_t cycles = CyclesToDuty(cycle, interval);
    OsWaitFor(&gFlags, reporting ? cycles * kCycleMs : OS_FOREVER, [=] {
        return Fn39Run != 1 || CommClientReg == 1 || Reporting() != reporting ||
               (reporting && Fn40Interval != interval);
    });
    int64_t passed = static_cast<int64_t>(OsDivide(static_cast<uint64_t>(OsNowMs() - begin), kCycleMs));
    if (reporting && passed >= cycles) passed = cycles - 1;
    // A cycle with reports goes on although a local peer connects: a query or a renewal may be due at its end.
    Pause((passed + 1) * kCycleMs - (OsNowMs() - begin), reporting);
    return static_cast<int32_t>(passed);
}

// ---- A cycle ----

static bool ReadDevices()
{
    uint16_t count = 0;
    memset(pF39Dev, 0, s_count * sizeof *pF39Dev); // the rest is still zero, and its pages stay unused
    s_count = 0;
    if (WithDeviceTable([&] { return get_devs_cfg(pF39Dev, &count); }, "Fn39ReportProc") != 0) return false;
    s_count = std::min<uint16_t>(count, kMaxKnown);
    return true;
}

static void Fn39OnlineReport(const DevCfg &device)
{
    uint8_t data[kOnlineDataSize] = {};
    memcpy(data, device.name, sizeof device.name);
    OnlineReportSend(LogModule(LOG_MODULE), __func__, device.mac, data);
}

// Reads the list and reports the new devices. Returns false when the list cannot be read.
static bool Query()
{
    LOG_AS(LOG_LEVEL_DEBUG, "Fn39ReportProc", "Func39 query...");
    if (!ReadDevices()) {
        LOG_AS(LOG_LEVEL_ERR, "Fn39ReportProc", "Func39 get_devs_cfg failed.");
        return false;
    }
    for (uint16_t i = 0; i < s_count && Fn39Run == 1 && mLogin == 1; i++) {
        if (KnownHas(pF39Dev[i].mac)) continue;
        Fn39OnlineReport(pF39Dev[i]);
        KnownAdd(pF39Dev[i].mac);
    }
    return true;
}

// Makes the devices of the last list the known ones.
static void Renew()
{
    KnownClear();
    for (uint16_t i = 0; i < s_count; i++) KnownAdd(pF39Dev[i].mac);
    Fn39UpdateMac();
}

// ---- The thread ----

// One turn of the thread. `cycle` counts from 1 the cycles with reports, and starts again after Renew().
static void Turn(int32_t *cycle)
{
    const bool reporting = Reporting();
    const int32_t passed = SleepThroughCycles(*cycle, reporting);
    if (!reporting || Fn39Run != 1) return;
    *cycle += passed;
    if (*cycle % kCyclesPerQuery == 0) {
        if (mLogin == 1 && !Query()) {
            Pause(mLogin == 1 ? kFailureMs : kCycleMs, false);
            return;
        }
        // Without a session a report is lost, but its device would become known: so the query stays due.
        if (mLogin != 1) return;
    }
    if (*cycle < Fn40Interval) {
        ++*cycle;
        return;
    }
    Renew();
    *cycle = 1;
}

static void *Fn39ReportProc(void *)
{
    int32_t cycle = 1;
    while (Fn39Run == 1 && CommClientReg != 1) Turn(&cycle);
    if (Fn39Run == 1) LOG_DEBUG("Use function 40");
    return nullptr;
}

int Fn39Init()
{
    KnownClear();
    Fn39Started = false;
    if (CommClientReg == 1) {
        LOG_DEBUG("Use function 40");
        return 0;
    }
    pF39Dev = static_cast<DevCfg *>(OsAllocate(ROUTER_SDK_DEVICES * sizeof *pF39Dev));
    if (!pF39Dev) {
        LOG_ERR("Malloc func39 devices failed.");
        return -1;
    }
    Fn39LoadMac();
    s_count = 0;
    Fn39Run = 1;
    if (OsThreadStart(&Fn39PID, Fn39ReportProc, nullptr) != 0) {
        OsFree(pF39Dev);
        LOG_ERR("Create FnReportProc failed.");
        return -1;
    }
    Fn39Started = true;
    return 0;
}

void Fn39Stop()
{
    SetSessionFlag(Fn39Run, 0);
    if (!Fn39Started) return;
    OsThreadJoin(Fn39PID);
    OsFree(pF39Dev);
    Fn39Started = false;
}
