// SurfRules.h - the platform's commands that add and delete internet-access-time rules.
//
// A stored rule means: on this weekday and in this range of time the device is refused the internet. The rule thread
// (iot_poll.h) sees to that at its next pass; what is done here at once is to give a device its access back when the
// last rule of a weekday goes.
//
// State:    none; the rules are in SurfTable.
// Threads:  the response thread. No lock is held between two single operations on the table.
#pragma once

#include "rules/SurfTable.h"

constexpr size_t kSurfKeySize = 256; // of a key "MAC|weekday", terminator included

// What ParseSurfRulesParam() returns; these numbers travel to the platform.
enum SurfResult {
    SURF_DONE = 0,
    SURF_NO_TEXT = 1,
    SURF_NOT_PARSED = 2,
    SURF_NO_FLAG = 3,
    SURF_NO_MAC = 4,
    SURF_NO_DAY = 5,
    SURF_NO_START = 6,
    SURF_NO_STOP = 7,
    SURF_NO_ALLOW = 8
};

// Carries a document {"LIST":[{"FLAG","MAC","DAY","START","STOP","ALLOW"}, ...]} out, item by item; all values are
// texts. The first item that lacks one ends the command; what came before it stays done.
// An item whose FLAG or ALLOW is anything but the text "1" or "0" keeps the thread until the session ends (BadItem.h).
// Returns a SurfResult, or kLeftBadItem.
int ParseSurfRulesParam(const char *json);

// Adds (`add` 1) or deletes (0) the rule "from `start` to `stop`", two texts HOUR:MINUTE, for every weekday whose
// digit, "1" to "7", occurs in `days`. `mac` becomes part of the key as it stands. `allow` says nothing. Returns 0; -1
// when a text is null, or when `mac` is too long for a key.
int CommitSurfRule(int add, int allow, const char *mac, const char *days, const char *start, const char *stop);

// Stores `rule`, which it takes over, under device and weekday unless an equal one is there. Returns 0.
int set_surf_rule(const char *mac, const char *day, SurfRule *rule);

// Deletes the rule that equals `rule`, which stays the caller's. When that leaves no rule for device and weekday, their
// entry goes too, and the device has access to the internet again, whatever the time.
// Returns 0; -1 when there is no entry for device and weekday.
int del_surf_rule(const char *mac, const char *day, const SurfRule *rule);
