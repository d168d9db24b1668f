// CommHandle.h - takes the local peer's frames out of the queue and acts on them.
//
// Three kinds of frames come: answers to the agent's requests (ComRequests.h), which are kept for whoever waits;
// reports, which go on to the platform (CommReports.h) or to whoever takes devices; and notices.
//
// State:    the last answer and CommReceived.
// Threads:  CommHandleProc() is a thread of its own, made by CommServer; the answer is for the requesters' threads.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "os/OsWait.h"

// ---- The last answer ----

// Guards rxData and is woken when CommReceived becomes 1. Nothing else is locked while it is held.
extern OsWaiter gCommAnswer;

// 1 after every frame of the peer that was in order, whatever it was: a requester sets it to 0 before it sends. Only
// frames of FuncIDs 88 and 997 leave it alone while a request of another number is being made: the answers to what the
// duties of the main thread ask are not those that a command waits for.
extern std::atomic<int> CommReceived;

// The FuncID of the request that is being made, 0 for none. Guarded by gCommAnswer.
extern uint32_t CommAsked;

// Sets CommReceived to 0, unless a frame of `funcId` would leave it alone. By its handler.
void CommForgetAnswer(uint16_t funcId);

// Byte 0: the peer's status, or 1 for an answer that was too large. Bytes 1 and 2: the number of bytes that came, the
// status included, little-endian. From byte 3: the bytes behind the status, and a NUL. With a status other than 0 all
// but byte 0 is as the answer before left it.
constexpr size_t kRxDataSize = 4096;
constexpr size_t kRxDataHead = 3;
constexpr size_t kRxAnswerMax = 3999; // most bytes behind the status
extern uint8_t rxData[kRxDataSize];

// ---- Handling ----

// Takes the payload of a report of devices (FuncID 40), `length` bytes; called on the handler thread.
typedef void (*DevicesHandler)(const uint8_t *data, size_t length);

// Names the handler of reports of devices. Before CommServerStart(); without one they are dropped.
void CommOnDevices(DevicesHandler handler);

// The thread: handles one frame after the other with 10 ms in between until CommRun is cleared. `queue` is the
// RingQueue of received frames. Returns nullptr.
void *CommHandleProc(void *queue);

// Wakes the thread: a frame has been queued, or CommRun has been cleared.
void CommHandleWake();

// Handles one item in its slot of kCommSlotSize bytes, as the thread does: drops it silently while not logged in to the
// platform, checks it (CommFrame.h), acts on its FuncID and sets CommReceived. The thread alone, and tests.
void CommHandleFrame(uint8_t *slot);
