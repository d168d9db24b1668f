// LinkSpeed.h - the speed that an interface has negotiated.
// Threads:  any; nothing is remembered.
#pragma once

#include <cstdint>

// Mbit/s; 0 if the interface is not there, has no carrier or does not tell.
uint16_t ReadLinkSpeed(const char *interface);
