#include "comm/CommServer.h"

int CommServerStart()
{
    return 0;
}
