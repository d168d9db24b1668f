// Traceroute.h - functions 51 and 52.
// State: none yet. Threads: the response thread.
#pragma once

#include "functions/FunctionHandler.h"

// There is no traceroute yet: both answer ENOSYS.
int TracerouteStart(WireReader *parameters, WireWriter *reply);
int TracerouteResult(WireReader *parameters, WireWriter *reply);
