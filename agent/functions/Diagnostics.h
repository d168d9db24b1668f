// Diagnostics.h - stops ping, traceroute and rate test together.
// State: none of its own. Threads: the one that ends the diagnostics, while no function command runs.
#pragma once

// Stops every diagnostic that was started and joins all their threads. Their results are lost or incomplete.
void StopDiagnostics();
