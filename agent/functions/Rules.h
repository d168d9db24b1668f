// Rules.h - functions that hand a JSON text on: 66, 69 and 87.
// State: none. Threads: the response thread.
#pragma once

#include "functions/FunctionHandler.h"

// Parameter: the bandwidth rules as a text. The status says 0 whatever came of them.
int BandwidthRules(WireReader *parameters, WireWriter *reply);

// Parameter: the internet-access-time rules as a text.
int SurfRules(WireReader *parameters, WireWriter *reply);

// Parameters: 16-bit length and as many bytes of configuration.
int ConfigData(WireReader *parameters, WireWriter *reply);
