// Ping.h - functions 8 and 9.
// State: none yet. Threads: the response thread.
#pragma once

#include "functions/FunctionHandler.h"

// There is no ping yet: both answer ENOSYS.
int PingStart(WireReader *parameters, WireWriter *reply);
int PingResult(WireReader *parameters, WireWriter *reply);
