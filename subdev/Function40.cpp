#include "subdev/Function40.h"

int Fn40Init()
{
    return 0;
}
