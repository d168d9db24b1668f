#include "subdev/SubdevMutex.h"

#include "core/Common.h"

pthread_mutex_t SubdevMutex = PTHREAD_ERRORCHECK_MUTEX_INITIALIZER_NP;

int SubdevMutexLock(uint32_t module, const char *function)
{
    const int error = pthread_mutex_lock(&SubdevMutex);
    if (error != 0) LogLine(LogPlace(LOG_LEVEL_ERR, module, __LINE__), function, "Get SubdevMutex failed");
    return error;
}
