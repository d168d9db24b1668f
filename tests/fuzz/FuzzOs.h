// FuzzOs.h - the outside world of the fuzz targets: no files, no threads, no time but what a target asks for.
//
// State:    FuzzOsReset() brings it back to the start, so that every input meets the same world.
// Threads:  one. Whoever waits without a limit would wait for ever, so that is an error (a lost wake-up).
#pragma once

#include <csetjmp>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

struct FuzzWorld {
    int64_t nowMs;            // moves on by every sleep and every wait that runs out
    std::string status;       // content of the status file
    std::string knownDevices; // content of the file of the known devices, once written
    std::string configFile;   // what opening any file for reading brings; see configMissing
    bool configMissing;       // opening fails instead
    int allocationsLeft;      // allocations that still succeed; negative: all
    jmp_buf *exitTo;          // where OsExit() goes; null: an exit is an error
    int exitStatus;           // of the last OsExit()
    bool noThreads;           // starting one fails

    std::vector<std::string> commands; // what has been run
};

extern FuzzWorld g_world;

// Time 0, empty files, unlimited memory, no exit expected.
void FuzzOsReset();

// Ends the process with a report when `holds` is false: what the fuzzer takes for a crash.
void FuzzRequire(bool holds, const char *rule, const char *file, int line);
#define REQUIRE(condition) FuzzRequire((condition), #condition, __FILE__, __LINE__)

// Hands the fuzz input out piece by piece; what is missing reads as zeros and nothing.
struct FuzzInput {
    const uint8_t *data;
    size_t left;

    uint8_t Byte();
    uint16_t Word(); // little-endian
    // At most `size` bytes where they lie; `*size` becomes what there is.
    const uint8_t *Bytes(size_t *size);
    // The text up to the next NUL, which is taken as well, or up to the end.
    std::string Text();
};
