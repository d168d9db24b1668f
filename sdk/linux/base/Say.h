// Say.h - what the library tells the operator: one line on standard error and the same in the system's log.
// Threads:  any.
#pragma once

// Writes "linux router: " and the text, which needs no newline. Control characters of `arguments` are shown as '?'.
// Lines over 400 bytes are cut.
void Say(const char *format, ...) __attribute__((format(printf, 1, 2)));
