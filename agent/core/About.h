// About.h - what --help and --version print.
// State: none. Threads: the main thread, before anything is started.
#pragma once

// Whether "--help" or "--version" is the only argument. Anywhere else both are unknown options.
[[nodiscard]] bool AboutAsked(int argc, char *const argv[]);

// Prints to standard output, version first: what the program is, its options and files, where its manual is and which
// libraries it runs with. Returns 0, or -1 when it could not be written.
[[nodiscard]] int AboutPrint();
