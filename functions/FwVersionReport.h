// FwVersionReport.h - tells the platform once which firmware the router runs.
// State:    none. Threads: the main thread, from the duty loop.
#pragma once

// Returns 0 when the report was sent; -1 or -2 when nothing was. There is no report yet: always -1.
int dev_fwversion_report();
