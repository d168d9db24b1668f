// PlugParameters.h - what the platform's commands to the agent itself have brought.
//
// State:    all that stands here; nothing is reset between commands or sessions. Texts are terminated, but for those of
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
extern uint32_t mFileLength;     // announced, not looked at
extern char mFileMD5[64];        // hexadecimal
extern char mToken[128];         // for nobody yet
extern int32_t mProcess;         // 1 once an update has been verified

// ---- Devices ----

extern uint8_t mMac[6];
extern uint8_t mRecogResult;

// ---- The router's firmware ----

// What an update needs, as it goes to the local peer: texts with zeros behind them, or filling their fields, and
// numbers in the router's byte order.
struct FirmwareParameters {
    char fromVersion[64];
    char toVersion[64];
    char url[256];
    uint32_t fileLength;
    uint32_t checkMethod; // which one is which is the peer's to know
    char chkSum[40];
};
static_assert(sizeof(FirmwareParameters) == 432 && offsetof(FirmwareParameters, toVersion) == 64 &&
                  offsetof(FirmwareParameters, url) == 128 && offsetof(FirmwareParameters, fileLength) == 384 &&
                  offsetof(FirmwareParameters, checkMethod) == 388 && offsetof(FirmwareParameters, chkSum) == 392,
              "the local peer knows the record so");

extern FirmwareParameters upParm; // fromVersion is that of the last check, the others those of the last update
