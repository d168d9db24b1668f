// BuildJson.h - the texts of the agent's own reports.
// State: none of its own. Threads: any; kinds 1 and 5 take SubdevMutex around a call of the router.
#pragma once

#include <cstddef>

enum BuildJsonKind {
    JSON_DEVICE_ONLINE = 1,  // {"mac":text,"dev_name":name,"status":"online"}
    JSON_DEVICE_OFFLINE = 2, // {"mac":text,"status":"offline"}
    JSON_UPDATE = 4,         // {"pluginID","fromVersion","toVersion","process","result":result,"resultDesc":text}
    JSON_DEVICE_DATA = 5,    // {"mac":text,"dev_name":name,"data":data}
    JSON_RATE = 6,           // {"devpin":PIN,"rate":"the last measured one, bytes per second"}
};

constexpr int kJsonNoMac = 65535;

// Writes a report of `kind` without blanks into `out` (`size` bytes with the terminator). Whatever a text holds, the
// report is one object: quotes, backslashes and control characters are escaped. The name is the router's for the device
// `text`, whose first 12 characters are hexadecimal digits.
// Returns 0; with nothing written for every other kind. With an empty text otherwise: kJsonNoMac when `text` is no MAC,
// the error of SubdevMutex or of get_dev_name(), -1 when it does not fit or there is no memory.
int BuildJson(int kind, int result, const char *text, const char *data, char *out, size_t size);
