// CommHandle.h - takes the local peer's frames out of the queue and acts on them.
//
// Three kinds of frames come: answers to the agent's requests (ComRequests.h), which are kept (CommAnswer.h);
// reports, which go on to the platform (CommReports.h) or to whoever takes devices; and notices.
//
// State:    which handler takes devices.
// Threads:  CommHandleProc() is a thread of its own, made by CommServer.
#pragma once

#include <cstddef>
#include <cstdint>

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
