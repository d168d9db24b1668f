// Bandwidth.h - upload and download limits of single devices.
// State:    none; the router keeps the limits. Threads: the response thread.
#pragma once

enum BandwidthResult {
    BANDWIDTH_DONE = 0,
    BANDWIDTH_NO_TEXT = 1,
    BANDWIDTH_NO_JSON = 2,
    BANDWIDTH_NO_FLAG = 3,
    BANDWIDTH_NO_MAC = 4,
    BANDWIDTH_NO_UP = 5,
    BANDWIDTH_NO_DOWN = 6,
};

// Carries out one command: an object whose array "LIST" has an object for each device, with the texts "FLAG" ("1" sets
// the limits, "0" clears them), "MAC" (read by MacScan() with the separator ':'), "UP" and "DOWN" (decimal, in the
// router's unit; limited to 32 bits, otherwise unchecked: negative numbers are passed on, and 0 for a text that is no
// number). The router's results are only logged.
// Returns a BandwidthResult: BANDWIDTH_DONE also if "LIST" is absent or empty. An item that lacks a member ends the
// command with the result for that member; the items before it stay applied. An item that has a value other than a
// text, an empty MAC or another FLAG is read again and again (BadItem.h), until the session ends: kLeftBadItem.
[[nodiscard]] int ParseTcParam(const char *json);
