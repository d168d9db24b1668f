// FuzzOs.h - the outside world of the fuzz targets: no files, threads or time unless a target sets them.
//
// State:    FuzzOsReset() restores the initial state, so that every input runs in the same world.
// Threads:  one. A wait without a limit would last for ever, so it is an error (a lost wake-up).
#pragma once

#include <csetjmp>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

struct FuzzWorld {
    int64_t nowMs;            // advances with every sleep and every wait that times out
    std::string status;       // content of the status file
    std::string knownDevices; // content of the file of the known devices, once written
    std::string configFile;   // content of any file opened for reading; see configMissing
    bool configMissing;       // opening fails instead
    int allocationsLeft;      // allocations that still succeed; negative: all
    jmp_buf *exitTo;          // where OsExit() goes; null: an exit is an error
    int exitStatus;           // of the last OsExit()
    bool noThreads;           // starting one fails

    std::vector<std::string> commands; // commands that were run
};

extern FuzzWorld g_world;

// Time 0, empty files, unlimited memory, no exit expected.
void FuzzOsReset();

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
