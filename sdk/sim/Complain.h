// Complain.h - what the simulated router has to say about its own settings, on stderr.
// State:    none.
// Threads:  every procedure is safe from any thread.
#pragma once

// Writes one line, "simulated router: ..." in front and a newline behind; longer than 500 bytes is cut off.
void Complain(const char *format, ...) __attribute__((format(printf, 1, 2)));
