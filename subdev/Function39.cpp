#include "subdev/Function39.h"

int Fn39Init()
{
    return 0;
}
