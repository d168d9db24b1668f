// Texts.h - MACs, addresses and names as text, and back. No procedure reads beyond the sizes that it is given.
// Threads:  any; nothing is remembered.
#pragma once

#include <cstddef>
#include <cstdint>

constexpr size_t kMacSize = 6;
constexpr size_t kMacText = 18; // "02:00:00:00:00:01" and a NUL

// Reads "02:00:00:00:00:01" (or with '-'), nothing before or behind it. False leaves `mac` as it was.
bool ReadMac(const char *text, uint8_t mac[kMacSize]);

// Writes a MAC in lower case.
void WriteMac(const uint8_t mac[kMacSize], char text[kMacText]);

bool SameMac(const uint8_t *a, const uint8_t *b);

// Whether a device can have this MAC: not a group address, not all zeros.
bool IsDeviceMac(const uint8_t mac[kMacSize]);

// Copies as much of a text as fits, terminated.
void CopyText(char *to, size_t size, const char *from);

// Fills a field that a text of its whole size leaves unterminated; what is left over becomes zeros.
void FillField(char *field, size_t size, const char *from);

// Reads a whole decimal number between `least` and `most`. False leaves `number` as it was.
bool ReadNumber(const char *text, int64_t least, int64_t most, int64_t *number);

// Copies a host name that somebody in the household has chosen: bytes that are no printable ASCII, and quotes,
// backslashes and what shells and markup give a meaning, become '_'; it is cut to the room.
void CopyHostName(char *to, size_t size, const char *from, size_t length);

// A text as one word: everything but letters, digits and "._-:/" becomes %XX. False if it does not fit.
bool WriteWord(const char *text, char *word, size_t size);
// And back. False if the word is malformed, holds a NUL or does not fit.
bool ReadWord(const char *word, char *text, size_t size);

// Whether an interface can have this name: 1 to 15 letters, digits and "._-@", not only dots. So no name ever needs
// quoting in a script for nft or tc.
bool IsInterfaceName(const char *name);
