#include "functions/Traceroute.h"

#include <cerrno>

int TracerouteStart(WireReader *, WireWriter *)
{
    return ENOSYS;
}

int TracerouteResult(WireReader *, WireWriter *)
{
    return ENOSYS;
}
