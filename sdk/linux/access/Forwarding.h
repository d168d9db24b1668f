// Forwarding.h - makes the kernel a router, and keeps what was there before.
// State:    a file beside that of the settings.
// Threads:  whoever starts the library.
#pragma once

#include "sdk/linux/access/Enforce.h"

// Lets the kernel forward, IPv4 and IPv6, and says what it had to change or could not.
//
// What it has changed is kept in the file `statePath`.sysctl, so that packaging/plug-router-off.sh can undo it: the
// number of this boot, because the kernel forgets its settings with it, and a line "net/ipv4/ip_forward=0" for each.
void EnforceForwarding(const Places *places, const char *statePath);
