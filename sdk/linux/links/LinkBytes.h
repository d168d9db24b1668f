// LinkBytes.h - the bytes that an interface has received and sent, as its own counters say: whole Ethernet frames.
// Threads:  any; nothing is remembered.
#pragma once

#include <cstdint>

// RESULT_OK, or RESULT_NO_FIGURE if the interface is not there.
int ReadLinkBytes(const char *interface, uint64_t *received, uint64_t *sent);
