// FuzzInput.h - how a fuzz target reads its input, and how it says that a rule does not hold.
// State: none. Threads: any.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

// Ends the process with a message if `holds` is false, which the fuzzer treats as a crash.
void FuzzRequire(bool holds, const char *rule, const char *file, int line);
#define REQUIRE(condition) FuzzRequire((condition), #condition, __FILE__, __LINE__)

// Reads the fuzz input piece by piece; missing bytes read as zeros or as nothing.
struct FuzzInput {
    const uint8_t *data;
    size_t left;

    uint8_t Byte();
    uint16_t Word(); // little-endian
    // A pointer to at most `size` bytes of the input; `*size` is set to their number.
    const uint8_t *Bytes(size_t *size);
    // The text up to the next NUL, which is consumed too, or up to the end.
    std::string Text();
};
