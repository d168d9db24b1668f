// MacText.h - the one place that prints MACs and the one that reads them from texts.
// State: none. Threads: any.
#pragma once

#include <cstddef>
#include <cstdint>

constexpr size_t kMacSize = 6;
constexpr size_t kMacTextSize = 3 * kMacSize; // two digits and a separator a byte; a terminator instead of the last one

enum MacCase : uint8_t { MAC_UPPER_CASE, MAC_LOWER_CASE };

// Prints `mac` (6 bytes) into `text`: two hexadecimal digits a byte, `separator` between the bytes, 0 for none.
// Returns `text`, terminated.
const char *MacToText(const uint8_t *mac, char separator, MacCase digits, char (&text)[kMacTextSize]);

// Reads six pairs of hexadecimal digits of either case; `separator` stands between the pairs, 0 for none. What follows
// them is not looked at. Returns false, and leaves `mac` (6 bytes) alone, when `text` begins otherwise.
[[nodiscard]] bool MacFromText(const char *text, char separator, uint8_t *mac);

// Reads bytes as sscanf() does, as far as `text` can be read that way: with the separator ':' by "%hhX:%hhX:...", with
// 0 by "%2hhx%2hhx...". Bytes of `mac` (6) that are not reached become 0. Returns false when `text` is empty or blank.
bool MacScan(const char *text, char separator, uint8_t *mac);

// Reads 12 characters, whatever they are: each pair goes through CharToHex(), so bytes of `mac` (6) without digits keep
// their content.
void MacFromAnyText(const char *text, uint8_t *mac);
