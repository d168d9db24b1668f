// CommReports.h - what the local peer reports by itself and the platform is to know.
//
// A report goes up as it came, behind a header of the agent: its own counter, the FuncID, zero and, but for FuncID 81,
// the payload's length; 16-bit fields, little-endian.
//
// State:    the counter, and when the reports of FuncID 89 last came. Threads: the handler thread (CommHandle.h).
#pragma once

#include <cstdint>

#include "comm/CommFrame.h"

extern uint16_t autoReportSeq; // of the next report; 1 at the start of the process

// Forgets when reports came. Before the handler thread runs.
void CommReportsReset();

// FuncID 81, a record in the peer's order: its addresses are brought into network order first, in their slot.
void CommAutoReport(const CommFrame &frame);

// FuncIDs 84 and 86, JSON.
void CommAutoJsonReport(const CommFrame &frame);

// FuncID 89, a report of type 1, 2 or 3 by its first byte. One that comes too soon after the last of its type is
// dropped: type 1 within 2 minutes when its bytes' sum is that of the last one, or within 5 s; type 2 within 1170 s;
// type 3 within 50 s. The time of a dropped one counts; the first of each type since the start goes up, whatever the
// date.
void CommAutoReport89(const CommFrame &frame);

// FuncID 999: how the firmware update ended that the peer was asked for, one byte.
void CommFwUpdateResult(const CommFrame &frame);
