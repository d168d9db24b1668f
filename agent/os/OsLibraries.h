// OsLibraries.h - the shared libraries that this process runs with.
// State: none. Threads: any.
#pragma once

// Calls `each` for every one, with the path from which it was loaded.
void OsEachLibrary(void (*each)(const char *path));
