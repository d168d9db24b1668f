// CommReports.h - sends the local peer's reports to the platform.
//
// A report is sent as it came, after a header of 16-bit little-endian fields: the agent's counter, the FuncID, zero
// and, except for FuncID 81, the payload's length.
//
// State:    the counter, and when each type of FuncID 89 last came. Threads: the handler thread (CommHandle.h).
#pragma once

#include <cstdint>

#include "comm/CommFrame.h"

extern uint16_t autoReportSeq; // counter of the next report; 1 at the start of the process

// Forgets when reports last came. To be called before the handler thread runs.
void CommReportsReset();

// FuncID 81: a WAN record in the peer's byte order. Turns its addresses into network order, in the slot, and sends it.
void CommAutoReport(const CommFrame &frame);

// FuncIDs 84 and 86: sends the JSON text.
void CommAutoJsonReport(const CommFrame &frame);

// FuncID 89: sends a report of type 1, 2 or 3 (its first byte), unless it comes too soon after the last one of its
// type: type 1 within 5 s, or within 2 minutes with the same sum of bytes; type 2 within 1170 s; type 3 within 50 s.
// The time of a dropped report counts, too. The first one of each type since the start is always sent, whatever the
// date.
void CommAutoReport89(const CommFrame &frame);

// FuncID 999: tells the platform how the peer's firmware update ended (one byte).
void CommFwUpdateResult(const CommFrame &frame);
