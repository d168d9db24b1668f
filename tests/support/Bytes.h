// Bytes.h - strings of bytes, put together by hand and not through the code under test.
// State: none. Threads: any.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

typedef std::vector<uint8_t> Bytes;

Bytes operator+(const Bytes &left, const Bytes &right);

// The bytes of "0A 1b" or "0a1b". Blanks may stand anywhere; anything else that is no hex digit, or half a byte at the
// end, fails the test.
Bytes Hex(const std::string &text);

// The characters of a text, without a terminator.
Bytes Text(const std::string &text);

// The low 16 bits of `value`, low byte first.
Bytes Le16(size_t value);

// `bytes`, `times` times in a row.
Bytes Repeated(const Bytes &bytes, size_t times);
