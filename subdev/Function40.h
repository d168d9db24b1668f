// Function40.h - reports new devices out of what a local client pushes.
// State:    none yet. Threads: Fn40Init() once, from start-up.
#pragma once

// Starts the report thread. Returns 0 or -1. Nothing is reported yet, so no thread is made and the result is 0.
int Fn40Init();
