// MacText.h - MACs as they stand in files.
// State: none. Threads: any.
#pragma once

#include <cstddef>
#include <cstdint>

constexpr size_t kMacSize = 6;

// Reads six pairs of hexadecimal digits of either case; `separator` stands between the pairs, 0 for nothing at all.
// What follows them is not looked at. Returns false, and leaves `mac` (6 bytes) alone, when `text` begins otherwise.
bool MacFromText(const char *text, char separator, uint8_t *mac);
