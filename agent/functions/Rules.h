// Rules.h - functions whose parameter is a JSON text that another module reads: 66, 69 and 87.
// State: none. Threads: the response thread.
#pragma once

#include "functions/FunctionHandler.h"

// Parameter: the bandwidth rules as a text (rules/Bandwidth.h). The status is always 0.
int BandwidthRules(WireReader *parameters, WireWriter *reply);

// Parameter: the internet-access-time rules as a text (rules/SurfRules.h).
int SurfRules(WireReader *parameters, WireWriter *reply);

// Parameters: 16-bit length and as many bytes of configuration (ParseConfigData() in RateTest.h).
int ConfigData(WireReader *parameters, WireWriter *reply);
