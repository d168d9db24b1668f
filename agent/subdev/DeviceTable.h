// DeviceTable.h - the only way to the router's device table: every SDK call with `_dev` or `_devs` in its name is made
// through WithDeviceTable(). A source defines LOG_MODULE before it includes this header.
// State: none of its own. Threads: any.
#pragma once

#include "core/Common.h"
#include "subdev/SubdevMutex.h"

// Runs `body`, which makes the calls and returns an int, under SubdevMutex. `body` must not send, pause or take another
// lock. Returns the result of `body`; if the mutex cannot be locked, logs that, does not run `body` and returns the
// error number. `function` stands in that log line: the caller, unless it gives another name.
template <typename Body>
int WithDeviceTable(Body body, const char *function = __builtin_FUNCTION())
{
    const int error = SubdevMutexLock(LogModule(LOG_MODULE), function);
    if (error != 0) return error;
    const int result = body();
    pthread_mutex_unlock(&SubdevMutex);
    return result;
}
