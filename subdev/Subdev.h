// Subdev.h - the worker that scans the attached devices on the platform's request.
// State:    none yet. Threads: StartSubdev() once, from start-up.
#pragma once

// Starts the worker. Returns 0, anything else when it could not start. No request reaches it yet, so no thread is
// made and the result is always 0.
int StartSubdev();
