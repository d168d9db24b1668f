#include "os/OsMemory.h"

#include <cstdlib>

void *OsAllocate(size_t size)
{
    return calloc(1, size);
}

void OsFree(void *memory)
{
    free(memory);
}
