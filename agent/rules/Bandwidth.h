// Bandwidth.h - limits of how fast single devices may send and receive.
// State:    none; the limits live in the router. Threads: the response thread.
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
// the limits, "0" clears them), "MAC" ("02:11:22:aa:BB:cc"; what cannot be read of it is 0), "UP" and "DOWN" (decimal,
// in the router's unit; handed on as they are, negative ones and the 0 of a text that is no number included). What the
// router says to them is only logged.
// Returns a BandwidthResult: BANDWIDTH_DONE also for an absent or empty "LIST"; the others end the command at the item
// that lacks something, and the items before it stay applied. An item with a value that is no text, an empty MAC or
// another FLAG is looked at again and again (see BadItem.h): kLeftBadItem when the session has ended over it.
int ParseTcParam(const char *json);
