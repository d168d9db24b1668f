// Settings.h - what plug.conf says about the platform, read once at start-up.
// State:    the settings below, written by InitProtool(); those of the device reports are changed by commands of the
//           platform while the report threads read them, the others are constant afterwards.
// Threads:  InitProtool() on the main thread before any other starts; reading anywhere.
#pragma once

#include <cstddef>
#include <cstdint>

#include "os/OsAtomic.h"

constexpr size_t kPinSize = 64;
constexpr size_t kKeySize = 32;
constexpr size_t kServerAddressSize = 64;

extern char g_pin_code[kPinSize];                // PIN, presented at registration and login
extern char gProtoolKey[kKeySize];               // KEY, see Crypt.h
extern int32_t regist_port;                      // registration port of both servers
extern char RegisterIpAddr1[kServerAddressSize]; // dotted text, looked up once
extern char RegisterIpAddr2[kServerAddressSize];
extern int32_t runMode; // 1: two servers are tried; 0: the first only

// Defaults of the device reports, set here and changed by platform commands with SetSessionFlag(), which wakes the thread
// that waits for them.
extern OsAtomic<int32_t> Fn40Interval;
extern OsAtomic<int32_t> AutoReportDevinfo;

// Reads the settings from the chosen configuration file and looks both servers up (which may block for as long as
// the resolver does). Returns 0; -1 with a log line when the port is not in 2048 to 65530 or a look-up fails, and
// then the settings that come after it keep their values. PIN and KEY are not checked until a registration needs them.
int InitProtool();

// A setting of the file, for SettingsCheck.h.
struct Setting {
    const char *section;
    const char *key;
    const char *fallback; // empty: it is required
    uint8_t most;         // characters that are kept
    bool isPort;
};
constexpr size_t kSettings = 5;
extern const Setting gSettings[kSettings];

// Whether a registration port is one that the agent takes.
[[nodiscard]] bool PortInRange(int32_t port);
