// Call.h - what every function of the interface goes through: faults, the lock, the moving household, saving, the log.
// State:    the one household, its lock, and when the library was loaded.
// Threads:  any thread calls; the body that is given to Ask, Figure or Change runs under the lock.
#pragma once

#include "sdk/sim/CallLog.h"
#include "sdk/sim/Household.h"

// The two halves of a call, in which the lock is held. BeginCall() returns the household, brought up to date; or null
// when a fault answers the call, and `result` is the answer. EndCall() logs the call.
[[nodiscard]] Household *BeginCall(const char *function, int64_t *result);
void EndCall(const char *function, const ArgumentText &arguments, int64_t result, bool isUnsigned, bool faulted);

// Writes the household to its state file, if it has one.
void SaveHousehold();

// For tests: forgets everything and starts over with the environment as it is now, as if the library had just been
// loaded. No call may be under way.
void ResetSimulatedRouter();

// A query of the interface. `body` fills the caller's buffers from the household and returns the result.
template <typename Body>
int Ask(const char *function, const ArgumentText &arguments, Body body)
{
    int64_t result = SIM_OK;
    Household *home = BeginCall(function, &result);
    if (home) result = body(*home);
    EndCall(function, arguments, result, false, !home);
    return int(result);
}

// A query whose return value is the figure itself.
template <typename Body>
uint64_t Figure(const char *function, const ArgumentText &arguments, Body body)
{
    int64_t result = 0;
    Household *home = BeginCall(function, &result);
    if (home) result = int64_t(body(*home));
    EndCall(function, arguments, result, true, !home);
    return uint64_t(result);
}

// A setting. `body` changes the household and returns the result; SIM_OK is saved.
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
