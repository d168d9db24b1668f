// CommHandle.h - takes the local peer's frames out of the queue and acts on them (FuncIdList.h says how).
//
// State:    the handler of devices.
// Threads:  CommHandleProc() is a thread of its own, which CommServer starts.
#pragma once

#include <cstddef>
#include <cstdint>

// Takes the payload of a report of devices (FuncID 40), `length` bytes; called on the handler thread.
typedef void (*CommDevicesHandler)(const uint8_t *data, size_t length);

// Sets the handler of reports of devices; without one they are dropped. To be called before CommServerStart().
void CommOnDevices(CommDevicesHandler handler);

// The thread: handles one frame after the other, with a pause of 10 ms after each, until CommRun is cleared. `queue` is
// the RingQueue of received frames. Returns nullptr.
void *CommHandleProc(void *queue);

// Wakes the thread: a frame has been queued, or CommRun has been cleared.
void CommHandleWake();

// Handles one item in its slot of kCommSlotSize bytes: drops it silently while the agent is not logged in to the
// platform, checks it (CommFrame.h), acts on its FuncID and sets CommReceived. Called by the thread, and by tests.
void CommHandleFrame(uint8_t *slot);
