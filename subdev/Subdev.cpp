#include "subdev/Subdev.h"

int StartSubdev()
{
    return 0;
}
