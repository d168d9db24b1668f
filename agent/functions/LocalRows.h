// LocalRows.h - functions that ask the local peer: 70 to 80, 82, 83, 85 and 88.
//
// The results are those of the ComF_* requests. The reply to a query that fails has no data.
//
// State: none. Threads: the response thread, which waits for the answers.
#pragma once

#include "functions/FunctionHandler.h"

int WifiBandQuery(WireReader *parameters, WireWriter *reply);           // band byte; answer byte
int MeshSupportQuery(WireReader *parameters, WireWriter *reply);        // answer byte
int MeshSwitchSetting(WireReader *parameters, WireWriter *reply);       // switch byte
int MeshSwitchQuery(WireReader *parameters, WireWriter *reply);         // answer byte
int MeshRoamingSetting(WireReader *parameters, WireWriter *reply);      // switch byte
int MeshRoamingQuery(WireReader *parameters, WireWriter *reply);        // answer byte
int RoamingThresholdSetting(WireReader *parameters, WireWriter *reply); // two bytes
int RoamingThresholdQuery(WireReader *parameters, WireWriter *reply);   // two answer bytes
int MeshTopologyQuery(WireReader *parameters, WireWriter *reply);       // the answer as it came
int AdjacentWifiInfoQuery(WireReader *parameters, WireWriter *reply);   // records of 77 bytes, at most 30
int BssidQuery(WireReader *parameters, WireWriter *reply);              // the answer as it came
int WanConfigSetting(WireReader *parameters, WireWriter *reply);        // a 228-byte WAN record
int OneKeyOptimize(WireReader *parameters, WireWriter *reply);
int FaultDiagnosis(WireReader *parameters, WireWriter *reply);
int AutoReportSetting(WireReader *parameters, WireWriter *reply); // 16-bit length and as many bytes of JSON
