// Call.h - what every function of the interface goes through: faults, the lock, the moving household, saving, the log.
// State:    the one household and its lock.
// Threads:  any thread calls; the body given to Ask, Figure or Change runs under the lock.
#pragma once

#include "sdk/sim/CallLog.h"
#include "sdk/sim/Household.h"

// The two halves of a call. Between them the lock is held, also when null is returned because a fault answers (then
// `result` is what it answers).
Household *BeginCall(const char *function, int64_t *result);
void EndCall(const char *function, const ArgumentText &arguments, int64_t result, bool isUnsigned, bool faulted);

// Writes the household to its state file, if it has one.
void SaveHousehold();

// Forgets everything and starts over with the environment as it is now, as if the library had just been loaded. For
// tests; no call may be under way.
void ResetSimulatedRouter();

// A query. `body` fills the caller's buffers from the household and returns the result.
template <typename Body>
int Ask(const char *function, const ArgumentText &arguments, Body body)
{
    int64_t result = SIM_OK;
    Household *home = BeginCall(function, &result);
    if (home) result = body(*home);
    EndCall(function, arguments, result, false, !home);
    return int(result);
}

// A query whose return value is the figure.
template <typename Body>
uint64_t Figure(const char *function, const ArgumentText &arguments, Body body)
{
    int64_t result = 0;
    Household *home = BeginCall(function, &result);
    if (home) result = int64_t(body(*home));
    EndCall(function, arguments, result, true, !home);
    return uint64_t(result);
}

// A setting. `body` changes the household and returns the result; a success is saved.
template <typename Body>
int Change(const char *function, const ArgumentText &arguments, Body body)
{
    int64_t result = SIM_OK;
    Household *home = BeginCall(function, &result);
    if (home) {
        result = body(*home);
        if (result == SIM_OK) SaveHousehold();
    }
    EndCall(function, arguments, result, false, !home);
    return int(result);
}
