#include "functions/Ping.h"

#include <cerrno>

int PingStart(WireReader *, WireWriter *)
{
    return ENOSYS;
}

int PingResult(WireReader *, WireWriter *)
{
    return ENOSYS;
}
