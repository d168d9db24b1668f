// Version.h - which build of the agent this is. In a source of its own, so that the build of another version compiles
// only that one again.
// State: constants. Threads: any.
#pragma once

#include <cstdint>

constexpr int kVersionParts = 4;

extern const uint8_t kPluginVersion[kVersionParts]; // as it is presented at login
extern const char kPluginVersionText[];             // the same with dots
extern const char kPluginVersionTagged[];           // with a dash and the build's tag after it; at most 29 characters
