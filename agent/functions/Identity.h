// Identity.h - which router this is: functions 1, 2 and 60.
// State: none. Threads: the response thread.
#pragma once

#include "functions/FunctionHandler.h"

// Reply: the 64-byte version record (text and date).
int RouterVersionQuery(WireReader *parameters, WireWriter *reply);

// Reply: MAC 6, serial number 64, vendor 64, model 64, processor record 43, memory record 20, plug flag 1, name 32,
// IPv6 flag 1. Fields whose call failed are zero; only the result of get_name() is returned.
int IdentityQuery(WireReader *parameters, WireWriter *reply);

// Reply: 12 characters, padded with zeros.
int RouterPinQuery(WireReader *parameters, WireWriter *reply);
