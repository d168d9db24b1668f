// SettingsCheck.h - `plug --check`: what of a configuration file counts, and what does not.
// State: none. Threads: the main thread, before anything is started.
#pragma once

// Whether "--check" is the first argument.
[[nodiscard]] bool SettingsCheckAsked(int argc, char *const argv[]);

// Reads the options behind it (-d, -f, -m) and the file that they lead to as a start does. Prints to standard output
// which file it is and, line by line, what is taken, and with a '!' what is passed over, cut or missing, and why; line 0
// is the file as a whole. PIN and KEY are not shown, and no name is looked up. Returns 0, or 1 when there is a '!'.
[[nodiscard]] int SettingsCheck(int argc, char *argv[]);
