// Wan.h - the connections to the provider: functions 3 and 4. 5 to 7 use Shapes.h.
// State: none. Threads: the response thread.
#pragma once

#include "functions/FunctionHandler.h"

// Parameter: 16-bit index. Reply: the 228-byte WAN record.
int WanConfigQuery(WireReader *parameters, WireWriter *reply);

// Reply: one WAN record after the other, at most 8.
int WanConfigsQuery(WireReader *parameters, WireWriter *reply);
