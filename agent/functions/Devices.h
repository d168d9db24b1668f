// Devices.h - the devices attached to the router: functions 32 to 39, 41, 43 and 64.
//
// Every query and setting of the router's device table is made under SubdevMutex; when that cannot be locked nothing is
// asked, and the error number is the result of a reply without data. A device is named by its MAC, the first parameter.
//
// State: none. Threads: the response thread.
#pragma once

#include "functions/FunctionHandler.h"

// Parameter: a 34-byte device record, of which `changed` is overwritten with the run mode.
int DeviceAccessSetting(WireReader *parameters, WireWriter *reply);

// Reply: what the device sends and receives at the moment, 64 bits each. The result is 0.
int DeviceBandwidthQuery(WireReader *parameters, WireWriter *reply);

// Reply: its upstream and downstream limits, 64 bits each. The first failure is the result.
int DeviceLimitsQuery(WireReader *parameters, WireWriter *reply);

// Parameters: MAC, the two limits. The first failure is the result.
int DeviceLimitsSetting(WireReader *parameters, WireWriter *reply);

// Reply: 64 bytes of name. The result is 0 even when the router knows none.
int DeviceNameQuery(WireReader *parameters, WireWriter *reply);

// Parameters: MAC, the name as a text.
int DeviceNameSetting(WireReader *parameters, WireWriter *reply);

// Reply: the 34-byte device record.
int DeviceConfigQuery(WireReader *parameters, WireWriter *reply);

// Reply: 16-bit number of devices, at most 128, and their records. The result is 0 even when the router failed.
int DevicesQuery(WireReader *parameters, WireWriter *reply);

// Reply: negotiated, receive and transmit speed in Mbit/s, 16 bits each. The first failure is the result.
int DeviceSpeedsQuery(WireReader *parameters, WireWriter *reply);

// Reply: one MAC after the other, at most 100.
int BlackListQuery(WireReader *parameters, WireWriter *reply);

// Asks the sub-device worker for a report.
int DeviceReportRequest(WireReader *parameters, WireWriter *reply);
