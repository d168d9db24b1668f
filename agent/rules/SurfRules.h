// SurfRules.h - the platform's commands that add and delete internet-access-time rules.
//
// A stored rule means: on this weekday and in this range of time the device has no internet access. The rule thread
// (iot_poll.h) enforces it at its next pass. When the last rule of a device and weekday is deleted, the device gets its
// access back at once.
//
// State:    none; the rules are in SurfTable.
// Threads:  the response thread. The table's lock is held for single operations only, not between two of them.
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

// Carries out a document {"LIST":[{"FLAG","MAC","DAY","START","STOP","ALLOW"}, ...]} item by item; all values are
// texts. The first item that lacks a member ends the command; the items before it stay applied.
// An item whose FLAG or ALLOW is not the text "1" or "0" keeps the thread until the session ends (BadItem.h).
// Returns a SurfResult, or kLeftBadItem.
[[nodiscard]] int ParseSurfRulesParam(const char *json);

// Adds (`add` 1) or deletes (0) the rule "from `start` to `stop`", two texts HOUR:MINUTE, for every weekday whose
// digit, "1" to "7", occurs in `days`. `mac` becomes part of the key unchanged. `allow` is ignored. Returns 0; -1 if a
// text is null or `mac` is too long for a key.
int CommitSurfRule(int add, int allow, const char *mac, const char *days, const char *start, const char *stop);

// Stores `rule` (allocated with OsAllocate()) under device and weekday, unless an equal rule is there. Takes ownership
// of `rule` in any case. Returns 0.
int set_surf_rule(const char *mac, const char *day, SurfRule *rule);

// Deletes the rule that equals `rule`, which remains the caller's. If no rule is left for device and weekday, their
// entry is removed, too, and the device gets its internet access back, whatever the time.
// Returns 0; -1 if there is no entry for device and weekday.
int del_surf_rule(const char *mac, const char *day, const SurfRule *rule);
