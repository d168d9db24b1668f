// Result.h - what the functions of this router answer when they do not succeed. docs/linux-router.md lists them by function.
#pragma once

enum Result {
    RESULT_OK = 0,
    RESULT_UNKNOWN = 1,        // no such index, port, module or MAC
    RESULT_BAD_VALUE = 2,      // a value that no router would take
    RESULT_TOO_LONG = 3,       // a text that does not fit
    RESULT_NO_FIGURE = 4,      // the machine does not tell
    RESULT_NOT_CONFIGURED = 5, // needs a key of router.conf that is not there
    RESULT_BAD_KEY = 6,        // its key of router.conf is wrong
    RESULT_COMMAND = 7,        // the configured command failed or took too long
    RESULT_WIFI = 8,           // hostapd is not there or refuses
    RESULT_KERNEL = 9,         // the kernel, nft or tc refuses; the reason is in the log
    RESULT_NOT_SAVED = 10,     // the state file cannot be written; nothing was changed
    RESULT_FULL = 11,          // the library's own table is full
};
