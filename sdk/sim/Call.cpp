#include "sdk/sim/Call.h"

#include <cstdlib>
#include <cstring>
#include <pthread.h>

#include "sdk/sim/Faults.h"
#include "sdk/sim/SimClock.h"
#include "sdk/sim/StateFile.h"
#include "sdk/sim/Traffic.h"

// All that this module remembers, guarded by s_lock.
static pthread_mutex_t s_lock = PTHREAD_MUTEX_INITIALIZER;
static struct {
    Household home;
    int64_t loadMs;
    bool ready; // the household is there
} s_sim;

// The timetable counts from here. Everything else waits for the first call: a program that loads the library and never
// calls it pays nothing.
__attribute__((constructor)) static void NoteLoadTime()
{
    s_sim.loadMs = SimNowMs();
}

static void GetReady()
{
    if (s_sim.ready) return;
    s_sim.ready = true;
    LoadFaults(getenv("ROUTER_SIM_FAULTS"));
    SetCallLog(getenv("ROUTER_SIM_LOG"));
    Household *home = &s_sim.home;
    HouseholdDefaults(home);
    LoadState(home, getenv("ROUTER_SIM_STATE"));
    home->loadMs = s_sim.loadMs;
    home->uptimeAtBoot = home->uptimeAtStart;
    for (uint16_t i = 0; i < home->deviceCount; i++) home->devices[i].online = home->devices[i].onlineAtStart;
}

Household *BeginCall(const char *function, int64_t *result)
{
    pthread_mutex_lock(&s_lock);
    GetReady();
    Fault fault = CountCall(function);
    if (fault.delayMs) {
        pthread_mutex_unlock(&s_lock); // a slow call must not slow down those of other threads
        SimDelayMs(fault.delayMs);
        pthread_mutex_lock(&s_lock);
    }
    if (fault.answers) {
        *result = fault.result;
        return nullptr;
    }
    MoveHousehold(&s_sim.home, SimNowMs());
    return &s_sim.home;
}

void EndCall(const char *function, const ArgumentText &arguments, int64_t result, bool isUnsigned, bool faulted)
{
    LogCall(function, arguments, result, isUnsigned, faulted);
    pthread_mutex_unlock(&s_lock);
}

void SaveHousehold()
{
    SaveState(&s_sim.home);
}

void ResetSimulatedRouter()
{
    pthread_mutex_lock(&s_lock);
    memset(&s_sim, 0, sizeof s_sim);
    s_sim.loadMs = SimNowMs();
    pthread_mutex_unlock(&s_lock);
}
