// BuildJson.h - the JSON texts of the agent's own reports.
// State: none of its own. Threads: any; kinds 1 and 5 take SubdevMutex around a call of the router.
#pragma once

#include <cstddef>

enum BuildJsonKind {
    JSON_DEVICE_ONLINE = 1,  // {"mac":text,"dev_name":name,"status":"online"}
    JSON_DEVICE_OFFLINE = 2, // {"mac":text,"status":"offline"}
    JSON_UPDATE = 4,         // {"pluginID","fromVersion","toVersion","process","result":result,"resultDesc":text}
    JSON_DEVICE_DATA = 5,    // {"mac":text,"dev_name":name,"data":data}
    JSON_RATE = 6,           // {"devpin":PIN,"rate":"the last measured rate, bytes per second"}
};

constexpr int kJsonNoMac = 65535;

// Writes a report of `kind` without blanks into `out` (`size` bytes, terminator included). Quotes, backslashes and
// control characters in the texts are escaped. For kinds 1 and 5, `text` begins with a device's MAC, 12 hexadecimal
// digits, and the name is the one that the router has for this device.
// Returns 0; any other kind also gives 0, and `out` is left alone. After an error `out` is an empty text: kJsonNoMac if
// `text` does not begin with a MAC, the error of SubdevMutex or of get_dev_name(), -1 if the report does not fit or
// there is no memory.
[[nodiscard]] int BuildJson(int kind, int result, const char *text, const char *data, char *out, size_t size);
