// Lan.h - the router's own network, and its ports and links: functions 10, 12 and 49.
// State: none. Threads: the response thread.
#pragma once

#include "functions/FunctionHandler.h"

// Reply: MAC 6, address 4, netmask 4.
int LanConfigQuery(WireReader *parameters, WireWriter *reply);

// Reply: 16-bit number of ports, then for each port the bytes up and down, 64 bits each. A counter whose call
// failed is zero. The first failure of all calls is the result.
int LanTrafficQuery(WireReader *parameters, WireWriter *reply);

// Reply: 16-bit number of LAN ports and a byte for each, the same for the WANs, a byte for each of the four Wi-Fi
// modules. The first failure of all calls is the result.
int LinkStatusQuery(WireReader *parameters, WireWriter *reply);
