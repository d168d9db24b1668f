// System.h - the router as a whole: functions 44, 45, 50, 53 to 55, 57 and 58.
// State: none. Threads: the response thread.
#pragma once

#include "functions/FunctionHandler.h"

// Reply: primary and secondary resolver, IPv4 addresses.
int DnsQuery(WireReader *parameters, WireWriter *reply);

// Parameters: the same.
int DnsSetting(WireReader *parameters, WireWriter *reply);

// Parameters: 16-bit selector, a byte.
int FullLoadSetting(WireReader *parameters, WireWriter *reply);

// Parameter: 64-bit seconds since the epoch.
int TimeSetting(WireReader *parameters, WireWriter *reply);

// Reply: 64-bit seconds since the router's start.
int UpTimeQuery(WireReader *parameters, WireWriter *reply);

// The reply is sent after the router's call has returned. The status is always 0.
int Restart(WireReader *parameters, WireWriter *reply);

// Parameters: one byte that is ignored, then a text. Only this function has such a byte; platforms send it so.
int RomUpdate(WireReader *parameters, WireWriter *reply);

// Reply: the current download and upload rates in bytes per second, 64 bits each. The first failure is the result.
int TrafficRatesQuery(WireReader *parameters, WireWriter *reply);
