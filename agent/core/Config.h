// Config.h - the command line and the configuration file.
// State:    the options and the path of the chosen file, written once at start-up.
// Threads:  the main thread only.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

constexpr size_t kMaxConfigFile = 256; // path given with -f, terminator included

extern char l_config_file[kMaxConfigFile]; // path given with -f, or empty
extern uint8_t l_mac[6];                   // router MAC given with -m, or zeros
extern int32_t l_debug;                    // 1 when -d was given

// Forgets every option, as before start-up.
void ClearOptions();

// Reads the options -d, -f FILE and -m MAC. An unknown option is reported and skipped.
// Returns 0; -1 when -f stands alone at the end; -2 when the text of -m is not 12 characters long. What those
// characters are is not checked (see CharToHex). A path of -f that is too long counts as an empty one.
[[nodiscard]] int config_line_proc(int argc, char *argv[]);

// Chooses the configuration file: the one of -f when it can be read, else `defaultPath` when it can be read, else
// "./plug.conf" unchecked. Anybody may have put something at `defaultPath`, so that file, and each link that leads to
// it, must belong to root or to us, now and at every later reading; otherwise it is skipped with a log line.
void NewProgramProfile(const char *defaultPath);

// Forgets the choice.
void DeleteProgramProfile();

// Looks a value up in the chosen file: the last line of `section` that contains `key` and has a value.
//   section, key  matched as substrings of a line: MYKEY=abc is taken for KEY. Existing files rely on it.
//   defaultText   what `dest` gets when there is no value, cut to capacity - 1 characters; may be nullptr
//   dest          `capacity` bytes, always terminated; empty when there is neither value nor default
// Returns 0 when a value or the default of a readable file was taken; -1 when the file cannot be opened, or when
// there is no value and no default.
//
// How a line counts is told by ConfigReadLine().
int getKeyValueStr(const char *section, const char *key, const char *defaultText, char *dest, size_t capacity);

// ---- The lines of the file ----

constexpr size_t kMaxConfigLine = 512; // longer lines are read in pieces of 511 characters

// The search for one key, from the first line on.
struct ConfigSearch {
    const char *section;
    const char *key;
    bool inSection;
    bool ended; // no later line counts
};

enum ConfigLine {
    CONFIG_OTHER, // has nothing to do with the key
    CONFIG_VALUE, // has a value for it; the last one counts
    CONFIG_EMPTY, // has its name and no value
    CONFIG_STOP,  // has its name and no '=', which ends the search on purpose
};

// Reads the next line, and cuts the blanks off its end. With CONFIG_VALUE stores where the value is.
[[nodiscard]] ConfigLine ConfigReadLine(ConfigSearch *search, char *line, const char **value);

// Opens the chosen file; the caller closes it. Returns nullptr when it cannot be read.
[[nodiscard]] FILE *ConfigOpen();

// The path of the chosen file.
[[nodiscard]] const char *ConfigPath();
