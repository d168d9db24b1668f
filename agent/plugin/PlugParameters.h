// PlugParameters.h - the values of the platform's commands to the agent itself.
//
// State:    all variables below; none is reset between commands or sessions. Texts are terminated, except those in
//           FirmwareParameters.
// Threads:  the response thread.
#pragma once

#include <cstddef>
#include <cstdint>

// ---- The agent's own update (plugin/PlugUpdate.h) ----

extern char mPluginID[128];
extern char mFromVersion[16];
extern char mToVersion[128];
extern char mDownloadServer[32]; // the URL's host
extern int32_t mDownloadPort;    // its port, 80 when it has none
extern char mDownloadUrl[256];   // its path, from the slash on
extern uint32_t mFileLength;     // announced by the platform, not checked
extern char mFileMD5[64];        // hexadecimal
extern char mToken[128];         // not used
extern int32_t mProcess;         // 1 once an update has been verified

// ---- Devices ----

extern uint8_t mMac[6];
extern uint8_t mRecogResult;

// ---- The router's firmware ----

// A firmware update as it is sent to the local peer. Texts are padded with zeros or fill their fields; numbers are in
// the router's byte order.
struct FirmwareParameters {
    char fromVersion[64];
    char toVersion[64];
    char url[256];
    uint32_t fileLength;
    uint32_t checkMethod; // its meaning is known to the peer only
    char chkSum[40];
};
static_assert(sizeof(FirmwareParameters) == 432 && offsetof(FirmwareParameters, toVersion) == 64 &&
                  offsetof(FirmwareParameters, url) == 128 && offsetof(FirmwareParameters, fileLength) == 384 &&
                  offsetof(FirmwareParameters, checkMethod) == 388 && offsetof(FirmwareParameters, chkSum) == 392,
              "the layout that the local peer expects");

extern FirmwareParameters upParm; // fromVersion comes from the last check, the rest from the last update
