// DeviceTable.h - the one way to the router's device table: every call with `_dev` or `_devs` in its name is made here.
// State: none of its own. Threads: any. Whoever includes it has named itself with LOG_MODULE.
#pragma once

#include <pthread.h>

#include "core/Common.h"
#include "subdev/Subdev.h"

// Makes the calls of `body`, which returns an int, under SubdevMutex. Nothing else belongs into it: no send, no pause,
// no other lock. Returns the result of `body`, or the error number of the lock; then `body` has not run.
template <typename Body>
int WithDeviceTable(Body body)
{
    const int error = pthread_mutex_lock(&SubdevMutex);
    if (error != 0) {
        LOG_ERR("Get SubdevMutex failed");
        return error;
    }
    const int result = body();
    pthread_mutex_unlock(&SubdevMutex);
    return result;
}
