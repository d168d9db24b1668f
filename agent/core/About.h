// About.h - what the program says of itself, in place of starting.
// State: none. Threads: the main thread, before anything is started.
#pragma once

// Whether the command line asks for it: "--help" or "--version" is the only argument. Elsewhere both are unknown
// options.
bool AboutAsked(int argc, char *const argv[]);

// Prints it to standard output, version first: what the program is, its options and files, where its manual is and
// which libraries it runs with. Returns 0, or -1 when it could not be written.
int AboutPrint();
