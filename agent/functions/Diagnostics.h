// Diagnostics.h - ping, traceroute and rate test together.
// State: none of its own. Threads: whichever ends the diagnostics, while no function command is being carried out.
#pragma once

// Stops every diagnostic that was started and joins all of their threads. Their results are forgotten or partial.
void StopDiagnostics();
