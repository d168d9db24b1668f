// BadItem.h - an item of a rule command that can be neither applied nor refused.
//
// Platforms count on it that such a command stays on the item and is never answered. So the thread stays, but it sleeps
// between two looks, and it is free again when the session ends, which it does three heartbeat intervals later,
// whatever the platform goes on sending: the next one starts unharmed.
//
// State:    none. Threads: the response thread.
#pragma once

constexpr int kLeftBadItem = -1; // what a command returns that the end of the session took off its item

// Pauses a second before the item is looked at again. Returns whether to look: false as soon as the session ends (and
// at once when there is none).
bool StayOnBadItem();
