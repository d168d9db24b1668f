// BadItem.h - the wait on an item of a rule command that can be neither applied nor refused.
//
// Platforms rely on it that such a command stays on the item and is never answered. So the thread stays in a loop, but
// sleeps between two passes. Nothing counts as a sign of life then: three heartbeat intervals later the session ends,
// whatever the platform sends, and with it the loop. The next session starts normally.
//
// State:    none. Threads: the response thread.
#pragma once

constexpr int kLeftBadItem = -1; // the result of a command whose loop the end of the session has ended

// Pauses a second before the item is read again. Returns true to read it again, false as soon as the session ends (at
// once if there is no session).
[[nodiscard]] bool StayOnBadItem();
