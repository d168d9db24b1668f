// Wireless.h - the wireless networks of the router and of its neighbours: functions 13 to 17 and 42.
// State: none. Threads: the response thread.
#pragma once

#include "functions/FunctionHandler.h"

// Reply: one 120-byte SSID record after the other, at most 16.
int SsidConfigsQuery(WireReader *parameters, WireWriter *reply);

// Parameter: 16-bit index. Reply: a byte, 1 on and 0 off.
int SsidSwitchQuery(WireReader *parameters, WireWriter *reply);

// Parameters: 16-bit index, a byte.
int SsidSwitchSetting(WireReader *parameters, WireWriter *reply);

// Parameter: 16-bit index. Reply: the 120-byte SSID record.
int SsidConfigQuery(WireReader *parameters, WireWriter *reply);

// Parameter: a 120-byte SSID record. Its texts reach the router unchanged, with or without a terminator.
int SsidConfigSetting(WireReader *parameters, WireWriter *reply);

// Reply: one 74-byte neighbour record after the other, at most 30.
int AdjacentWifiQuery(WireReader *parameters, WireWriter *reply);
