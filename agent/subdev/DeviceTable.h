// DeviceTable.h - the one way to the router's device table: every call with `_dev` or `_devs` in its name is made here.
// State: none of its own. Threads: any. Whoever includes it has named itself with LOG_MODULE.
#pragma once

#include "core/Common.h"
#include "subdev/SubdevMutex.h"

// Makes the calls of `body`, which returns an int, under SubdevMutex. Nothing else belongs into it: no send, no pause,
// no other lock. Returns the result of `body`, or the error number of the lock; then `body` has not run.
// `function` stands in the log line of a lock that fails: the caller, unless it gives another name.
template <typename Body>
int WithDeviceTable(Body body, const char *function = __builtin_FUNCTION())
{
    const int error = pthread_mutex_lock(&SubdevMutex);
    if (error != 0) {
        LOG_AS(LOG_LEVEL_ERR, function, "Get SubdevMutex failed");
        return error;
    }
    const int result = body();
    pthread_mutex_unlock(&SubdevMutex);
    return result;
}
