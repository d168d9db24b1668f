#include "subdev/Subdev.h"

pthread_mutex_t SubdevMutex = PTHREAD_ERRORCHECK_MUTEX_INITIALIZER_NP;
std::atomic<int> nQuerySubdev{0};

int StartSubdev()
{
    return 0;
}
