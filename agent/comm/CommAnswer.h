// CommAnswer.h - the local peer's last answer to a request of the agent.
//
// Only the last one is kept. The handler thread (CommHandle.h) writes it; requesters (ComRequests.h) wait for it and
// read it.
//
// State:    the answer, whether it has come, and which request is being made; all guarded by gCommAnswer.
// Threads:  any; the handler keeps and announces, a requester in its turn asks and reads.
#pragma once

#include <cstddef>
#include <cstdint>

#include "os/OsAtomic.h"
#include "os/OsWait.h"

// Woken when CommReceived becomes 1. Nothing else is locked while it is held.
extern OsWaiter gCommAnswer;

// 1 after every valid frame of the peer, whatever its FuncID; a requester sets it to 0 before it sends. Only frames of
// FuncIDs 88 and 997 do not set it while a request of another number is being made: they answer duties of the main
// thread, and a command must not take such an answer for its own.
extern OsAtomic<int> CommReceived;

// The FuncID of the request that is being made, 0 for none.
extern uint32_t CommAsked;

// Byte 0: the peer's status, or 1 for an answer that was too large. Bytes 1 and 2: the number of bytes that came, the
// status included, little-endian. From byte 3: the bytes after the status, and a NUL. A status other than 0 changes
// byte 0 only; the rest stays as the answer before left it.
constexpr size_t kRxDataSize = 4096;
constexpr size_t kRxDataHead = 3;
constexpr size_t kMaxRxAnswer = 3999; // bytes after the status
extern uint8_t rxData[kRxDataSize];

// Keeps the answer to request `funcId`. `length` is the payload length that the frame declares, the status included;
// `payload` has at least one byte, and all of `length` up to kMaxRxAnswer + 1. An answer with length 0 or with more
// than kMaxRxAnswer bytes after its status is logged and becomes status 1. Handler thread.
void CommKeepAnswer(uint16_t funcId, const uint8_t *payload, uint32_t length);

// Sets CommReceived to 1 and wakes the requester, unless the frame of `funcId` answers another request (see above).
// Handler thread.
void CommAnnounceAnswer(uint16_t funcId);

// Sets CommReceived to 0, with the same exception. Handler thread.
void CommForgetAnswer(uint16_t funcId);

// Notes that the request `funcId` is being made and sets CommReceived to 0. A requester that has the turn.
void CommExpectAnswer(uint32_t funcId);

// Notes that no request is being made any more. A requester that gives the turn back.
void CommExpectNothing();

// Wakes every requester, which then checks whether the session and the server still run.
void CommWakeRequesters();
