// Protool.h - what the platform session remembers: its flags and the values that registration and login bring.
//
// State:    all of it lives here; NewProtool() starts it afresh at every cycle.
// Threads:  the flags are written by the main, response, receive, heartbeat and check threads and read by all, so
//           they are atomic; set them with SetSessionFlag(), which wakes whoever waits for them. The texts and
//           identifiers are written by the response thread before the flag that announces them, or by the main
//           thread while no session runs, and only read afterwards.
#pragma once

#include <cstddef>
#include <cstdint>
#include <pthread.h>

#include "os/OsAtomic.h"
#include "platform/Frame.h"
#include "platform/SessionFrames.h"

constexpr size_t kSerialSize = kMaxSerial + 1;
constexpr size_t kDottedSize = 16; // "255.255.255.255" and its terminator

extern OsAtomic<int> mRegist;  // 1 once the register acknowledgement has been accepted
extern OsAtomic<int> mLogin;   // 1 while logged in; nothing but session frames is sent otherwise
extern OsAtomic<int> mQuitPro; // 1 asks for the end of the session
extern OsAtomic<int> beepAck;  // 1 when the last heartbeat was acknowledged

extern OsAtomic<uint32_t> mHeartTime;    // last heartbeat acknowledgement, seconds since the epoch; 0 = none yet
extern OsAtomic<int16_t> mHeartInterval; // seconds between heartbeats

extern char mLoginServer[kDottedSize]; // dotted text
extern uint16_t mLoginPort;
extern uint8_t mLoginTocken[kTokenSize];      // opaque
extern uint8_t mLoginPluginId[kPluginIdSize]; // opaque
extern uint8_t gRoutemac[kMacSize];           // the router MAC used in frames
extern char gSN[kSerialSize];                 // serial number; survives sessions
extern pthread_mutex_t gProtoolMutex;         // made by NewProtool(), ended by DeleteProtool()

// Milliseconds for which a platform may be silent: three heartbeat intervals.
int SilenceLimitMs();

// Resets the session values (the heartbeat interval to 50 s) and makes the protocol lock.
void NewProtool();

// Ends the protocol lock.
void DeleteProtool();

// Clears token, plugin identifier, login server and login port.
void ClearLoginValues();

// Stores `value` and wakes every thread that waits for a flag: in WaitForSession(), in WaitForQuit() or on gFlags
// (core/Flags.h). Settings that a thread waits for are set with it, too.
void SetSessionFlag(OsAtomic<int> &flag, int value);

// The same for mHeartInterval: after a shorter interval the silence of the platform may have to be checked earlier.
void SetHeartInterval(int16_t seconds);

// Withdraws a request to end the session, unless the login has been lost meanwhile: then the session has to end.
void ClearQuitWhileLoggedIn();

// Waits until `flag` or mQuitPro is 1, at most `milliseconds` (OS_FOREVER for no limit).
void WaitForSession(const OsAtomic<int> &flag, int64_t milliseconds);

// The same for mQuitPro alone. Returns whether it is 1.
bool WaitForQuit(int64_t milliseconds);
