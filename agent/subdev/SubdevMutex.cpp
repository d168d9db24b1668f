#include "subdev/SubdevMutex.h"

#include "core/Common.h"

#ifdef PTHREAD_ERRORCHECK_MUTEX_INITIALIZER_NP
pthread_mutex_t SubdevMutex = PTHREAD_ERRORCHECK_MUTEX_INITIALIZER_NP;
#else // POSIX has the type, and an initializer only for another one: before main() then, at the cost of some calls
pthread_mutex_t SubdevMutex;

__attribute__((constructor)) static void MakeSubdevMutex()
{
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_ERRORCHECK);
    pthread_mutex_init(&SubdevMutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
}
#endif

int SubdevMutexLock(uint32_t module, const char *function)
{
    const int error = pthread_mutex_lock(&SubdevMutex);
    if (error != 0) LogLine(LogPlace(LOG_LEVEL_ERR, module, __LINE__), function, "Get SubdevMutex failed");
    return error;
}
