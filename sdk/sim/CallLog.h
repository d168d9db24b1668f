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

// Each of these appends "name=" and a value, with ", " in front when it is not the first, and returns `to`. `address`
// is in network byte order.
ArgumentText &AddNumber(ArgumentText &to, const char *name, int64_t value);
ArgumentText &AddUnsigned(ArgumentText &to, const char *name, uint64_t value);
ArgumentText &AddMac(ArgumentText &to, const char *name, const uint8_t mac[6]);
ArgumentText &AddIp(ArgumentText &to, const char *name, uint32_t address);
// In quotes; quotes, backslashes and everything outside printable ASCII are escaped. Reads up to the terminator, and at
// most `room` bytes.
ArgumentText &AddText(ArgumentText &to, const char *name, const char *text, size_t room);
// `count` bytes as two hex digits each.
ArgumentText &AddBytes(ArgumentText &to, const char *name, const void *bytes, size_t count);
// Whole records, each field under its own name.
ArgumentText &AddDevice(ArgumentText &to, const DevCfg &device);
ArgumentText &AddSsid(ArgumentText &to, const SsidCfg &ssid);

// Where the lines go from now on; null or an empty text for nowhere. A path of more than 1023 bytes is reported on
// stderr and not used.
void SetCallLog(const char *path);

// Appends one line with the present time. `isUnsigned` shows the result as a number without a sign; `faulted` adds
// " (fault)" behind it. A file that cannot be written to is reported once.
void LogCall(const char *function, const ArgumentText &arguments, int64_t result, bool isUnsigned, bool faulted);
