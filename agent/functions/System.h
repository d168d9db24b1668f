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

// The reply is made when the router's call returns; its status says 0 whatever came of it.
int Restart(WireReader *parameters, WireWriter *reply);

// Parameter: a text behind one byte that is not looked at. Only this function has that byte; it is meant.
int RomUpdate(WireReader *parameters, WireWriter *reply);

// Reply: what flows down and up at the moment, bytes per second, 64 bits each. The first failure is the result.
int TrafficRatesQuery(WireReader *parameters, WireWriter *reply);
