// CallLog.h - one line per call in the file that the environment ROUTER_SIM_LOG names:
//
//   2026-03-01T12:00:00.250Z set_dev_name(mac=02:1a:2b:00:00:14, name="phone of \"Anna\"") = 0
//
// State:    the path, and whether a file that cannot be written was reported.
// Threads:  LogCall and SetCallLog by whoever holds the lock of Call.cpp; an ArgumentText belongs to its call.
#pragma once

#include "sdk/RouterSdk.h"

// The arguments of one call, as they are shown. What does not fit is left out and marked with "...".
struct ArgumentText {
    char text[1200] = {};
    size_t length = 0;
    bool cut = false; // the mark is there
};

ArgumentText &AddNumber(ArgumentText &to, const char *name, int64_t value);
ArgumentText &AddUnsigned(ArgumentText &to, const char *name, uint64_t value);
ArgumentText &AddMac(ArgumentText &to, const char *name, const uint8_t mac[6]);
ArgumentText &AddIp(ArgumentText &to, const char *name, uint32_t address);
// Quoted; quotes, backslashes and everything outside printable ASCII are escaped. At most `room` bytes are read.
ArgumentText &AddText(ArgumentText &to, const char *name, const char *text, size_t room);
ArgumentText &AddBytes(ArgumentText &to, const char *name, const void *bytes, size_t count);
// Records, field by field.
ArgumentText &AddDevice(ArgumentText &to, const DevCfg &device);
ArgumentText &AddSsid(ArgumentText &to, const SsidCfg &ssid);

// Where the lines go; null or an empty text for nowhere. A longer path than 1023 bytes is reported and not used.
void SetCallLog(const char *path);

// Appends one line. `faulted` is marked behind the result.
void LogCall(const char *function, const ArgumentText &arguments, int64_t result, bool isUnsigned, bool faulted);
