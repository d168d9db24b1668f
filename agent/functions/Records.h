// Records.h - the router's records in the platform's byte order.
//
// The records have the same layout on the wire as in the router library; only their integers are converted: numbers by
// swapInt16 and swapInt32, IPv4 addresses by swapNet32. Converting twice gives the original content, so the same
// procedures serve replies and requests.
//
// State: none. Threads: any.
#pragma once

#include "functions/FunctionHandler.h"
#include "sdk/RouterSdk.h"

void ToProtocolOrder(CpuCfg *cpu);
void ToProtocolOrder(MemCfg *memory);
void ToProtocolOrder(LanCfg *lan);
void ToProtocolOrder(WanCfg *wan);
void ToProtocolOrder(SsidCfg *ssid);
void ToProtocolOrder(DevCfg *device);
void ToProtocolOrder(AdjWifi *neighbour);

template <typename Record>
void PutRecord(WireWriter *reply, Record record)
{
    ToProtocolOrder(&record);
    WirePutBytes(reply, &record, sizeof record);
}

// The first `count` records, but at most `room`.
template <typename Record>
void PutRecords(WireWriter *reply, const Record *records, uint16_t count, uint16_t room)
{
    for (uint16_t i = 0; i < count && i < room; i++) PutRecord(reply, records[i]);
}

// The record that `get` fills, or zeros if it fails. Returns the result of `get`.
template <typename Record>
int PutRecordOf(WireWriter *reply, int (*get)(Record *record))
{
    Record record = {};
    const int result = ZeroUnless(get(&record), &record);
    PutRecord(reply, record);
    return result;
}

// Bytes that were not sent are zero.
template <typename Record>
[[nodiscard]] Record TakeRecord(WireReader *parameters)
{
    Record record;
    WireGetBytes(parameters, &record, sizeof record);
    ToProtocolOrder(&record);
    return record;
}
