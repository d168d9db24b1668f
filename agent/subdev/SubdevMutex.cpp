#include "subdev/SubdevMutex.h"

pthread_mutex_t SubdevMutex = PTHREAD_ERRORCHECK_MUTEX_INITIALIZER_NP;
