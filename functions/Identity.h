// Identity.h - which router this is: functions 1 and 2.
// State:    none. Threads: the response thread.
#pragma once

#include "core/Wire.h"

// Function 1, 70 bytes: header, SDK result, the 64-byte version record (text and date).
bool RouterVersionQuery(WireReader *parameters, WireWriter *reply);

// Function 2, 301 bytes: header, result of get_name() alone, then MAC 6, serial number 64, vendor 64, model 64,
// processor record 43, memory record 20, plug flag 1, name 32, IPv6 flag 1. What the SDK could not tell is zero.
bool IdentityQuery(WireReader *parameters, WireWriter *reply);
