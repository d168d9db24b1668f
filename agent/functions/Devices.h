// Devices.h - the devices attached to the router: functions 32 to 39, 41, 43 and 64.
//
// Every query and setting of the router's device table is made under SubdevMutex. If it cannot be locked, the router is
// not asked: the result is the error number, and the reply has no data. The first parameter is the device's MAC.
//
// State: none. Threads: the response thread.
#pragma once

#include "functions/FunctionHandler.h"

// Parameter: a 34-byte device record, whose `changed` is overwritten with the run mode.
int DeviceAccessSetting(WireReader *parameters, WireWriter *reply);

// Reply: the device's current upload and download bandwidth, 64 bits each. The result is 0.
int DeviceBandwidthQuery(WireReader *parameters, WireWriter *reply);

// Reply: its upstream and downstream limits, 64 bits each. The first failure is the result.
int DeviceLimitsQuery(WireReader *parameters, WireWriter *reply);

// Parameters: MAC, the two limits. The first failure is the result.
int DeviceLimitsSetting(WireReader *parameters, WireWriter *reply);

// Reply: the name, 64 bytes. The result is 0 even if the router knows no name.
int DeviceNameQuery(WireReader *parameters, WireWriter *reply);

// Parameters: MAC, the name as a text.
int DeviceNameSetting(WireReader *parameters, WireWriter *reply);

// Reply: the 34-byte device record.
int DeviceConfigQuery(WireReader *parameters, WireWriter *reply);

// Reply: 16-bit number of devices, at most 128, and their records. The result is 0 even if the router failed.
int DevicesQuery(WireReader *parameters, WireWriter *reply);

// Reply: negotiated, receive and transmit speed in Mbit/s, 16 bits each. The first failure is the result.
int DeviceSpeedsQuery(WireReader *parameters, WireWriter *reply);

// Reply: one MAC after the other, at most 100.
int BlackListQuery(WireReader *parameters, WireWriter *reply);

// Asks the sub-device worker for a report.
int DeviceReportRequest(WireReader *parameters, WireWriter *reply);
