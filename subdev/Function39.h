// Function39.h - reports devices seen for the first time, while no local client does.
// State:    none yet. Threads: Fn39Init() once, from start-up.
#pragma once

// Starts the report thread. Returns 0 or -1. Nothing is reported yet, so no thread is made and the result is 0.
int Fn39Init();
